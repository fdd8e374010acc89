#include "features/feature_access.h"

#include "base/printable.h"
#include "features/camera_features.h"
#include "features/node_text.h"
#include "features/selectors.h"
#include "features/value_text.h"

#include <chrono>
#include <exception>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <thread>
#include <vector>

namespace kvgrab
{

namespace
{

/** Why an access can't be made; a sentence without a full stop. */
struct Refusal {
    std::string why;
};

[[noreturn]] void RefuseValue(GenApi::INode& node, const std::string& name, std::string_view value)
{
    throw Refusal{fmt::format("{} is {}; expected {}", name, base::Quoted(value),
                              base::Printable(ExpectedText(node)))};
}

/** Requires that the feature can be accessed; `able` is one of the questions of gen_api.h. */
void Require(GenApi::INode& node, const std::string& name, bool (*able)(GenApi::EAccessMode),
             const char* verb)
{
    const GenApi::EAccessMode mode = node.GetAccessMode();
    if (able(mode)) {
        return;
    }
    const char* const why = mode == GenApi::NI   ? "the camera does not implement it"
                            : mode == GenApi::NA ? "it is not available with the other settings"
                            : mode == GenApi::RO ? "it can only be read"
                                                 : "it can only be written";
    throw Refusal{fmt::format("{} can't be {}: {}", name, verb, why)};
}

/** Writes a value; the result is what the camera has afterwards. */
std::string Write(GenApi::INode& node, const std::string& name, std::string_view value)
{
    if (!HasValue(node)) {
        throw Refusal{fmt::format("{} is a command, which is executed rather than set", name)};
    }
    Require(node, name, GenApi::IsWritable, "set");
    try {
        if (!WriteText(node, value)) {
            RefuseValue(node, name, value);
        }
    } catch (const GenICam::OutOfRangeException&) {
        RefuseValue(node, name, value);
    } catch (const GenICam::InvalidArgumentException&) {
        RefuseValue(node, name, value);
    }
    if (!GenApi::IsReadable(node.GetAccessMode())) {
        return "";
    }
    std::string now = ValueText(node);
    if (node.AsFloat() == nullptr && !SameValue(node, now, value)) {
        throw Refusal{fmt::format("{} is {} although the camera took {}", name, base::Quoted(now),
                                  base::Quoted(value))};
    }
    return now;
}

/** Writes a value unless the feature has it already. */
std::string WriteIfOther(GenApi::INode& node, const std::string& name, std::string_view value,
                         bool* written)
{
    const bool readable = HasValue(node) && GenApi::IsReadable(node.GetAccessMode());
    std::string now = readable ? ValueText(node) : "";
    *written = !readable || !SameValue(node, now, value);
    return *written ? Write(node, name, value) : now;
}

/** Turns whatever `work` throws into an outcome. */
template <class Work> Outcome Guarded(const std::string& name, const Work& work)
{
    try {
        return {Outcome::Kind::Done, work()};
    } catch (const Refusal& refusal) {
        return {Outcome::Kind::Refused, refusal.why};
    } catch (const GenICam::TimeoutException& timeout) {
        return {Outcome::Kind::CameraFailed, fmt::format("{}: the camera does not answer ({})",
                                                         name, base::Printable(timeout.what()))};
    } catch (const std::exception& e) {
        return {Outcome::Kind::Refused, fmt::format("{}: the camera refused the access ({})", name,
                                                    base::Printable(e.what()))};
    }
}

} // namespace

GenApi::INode& FeatureAccess::Find(const std::string& name) const
{
    if (GenApi::INode* const node = map_.GetNode(name.c_str())) {
        return *node;
    }
    std::vector<std::string> names;
    for (std::size_t i = 0; i < map_.GetNodeCount(); ++i) {
        if (const GenApi::INode* const node = map_.GetNodeAt(i)) {
            names.emplace_back(node->GetName());
        }
    }
    const std::vector<std::string> near = NearNames(name, names);
    const std::string shown = base::Printable(name);
    if (near.empty()) {
        throw Refusal{fmt::format("the camera has no feature {}", shown)};
    }
    throw Refusal{fmt::format("the camera has no feature {}; it has {}", shown,
                              base::Printable(fmt::format("{}", fmt::join(near, ", "))))};
}

template <class Work>
Outcome FeatureAccess::OnSelected(const FeatureName& name, const Work& work) const
{
    const std::string shown = name.Text();
    return Guarded(shown, [&]() -> std::string {
        GenApi::INode& node = Find(name.feature);
        if (name.selected.empty()) {
            return work(node, shown);
        }
        const std::vector<GenApi::INode*> selectors = SelectorsOf(node);
        if (selectors.size() != name.selected.size()) {
            std::vector<std::string> names;
            for (GenApi::INode* const selector : selectors) {
                names.emplace_back(selector->GetName());
            }
            const std::string expected =
                names.empty()
                    ? "the feature has no selector"
                    : fmt::format("expected a value of {}",
                                  base::Printable(fmt::format("{}", fmt::join(names, ", "))));
            throw Refusal{fmt::format("{} has {} in its brackets: {}", shown,
                                      name.selected.size() == 1 ? "one value" : "several values",
                                      expected)};
        }
        KeptValues kept;
        for (std::size_t i = 0; i < selectors.size(); ++i) {
            kept.Keep(*selectors[i]);
            bool written = false;
            WriteIfOther(*selectors[i], fmt::format("{}: {}", shown, selectors[i]->GetName()),
                         name.selected[i], &written);
        }
        std::string result = work(node, shown);
        kept.Restore();
        return result;
    });
}

Outcome FeatureAccess::Get(const FeatureName& name) const
{
    return OnSelected(name, [](GenApi::INode& node, const std::string& shown) {
        if (!HasValue(node)) {
            throw Refusal{fmt::format("{} is a command, which has no value", shown)};
        }
        Require(node, shown, GenApi::IsReadable, "read");
        return ValueText(node);
    });
}

Outcome FeatureAccess::Describe(const FeatureName& name, FeatureRow* row) const
{
    return OnSelected(name, [row](GenApi::INode& node, const std::string& shown) {
        *row = ReadFeature(node);
        row->name = shown;
        return row->value;
    });
}

Outcome FeatureAccess::Set(const FeatureName& name, std::string_view value) const
{
    return OnSelected(name, [&](GenApi::INode& node, const std::string& shown) {
        return Write(node, shown, value);
    });
}

Outcome FeatureAccess::SetIfOther(const FeatureName& name, std::string_view value,
                                  bool* written) const
{
    return OnSelected(name, [&](GenApi::INode& node, const std::string& shown) {
        return WriteIfOther(node, shown, value, written);
    });
}

Outcome FeatureAccess::Begin(std::string_view command) const
{
    const std::string shown = base::Printable(command);
    return Guarded(shown, [&]() -> std::string {
        GenApi::INode& node = Find(std::string(command));
        if (node.AsCommand() == nullptr) {
            throw Refusal{fmt::format("{} is no command but has a value of the type {}", shown,
                                      TypeText(node))};
        }
        Require(node, shown, GenApi::IsWritable, "executed");
        node.AsCommand()->Execute();
        return "";
    });
}

Outcome FeatureAccess::IsDone(std::string_view command, bool* done) const
{
    return Guarded(base::Printable(command), [&]() -> std::string {
        GenApi::ICommand* const begun = Find(std::string(command)).AsCommand();
        *done = begun == nullptr || begun->IsDone();
        return "";
    });
}

Outcome FeatureAccess::Execute(std::string_view command) const
{
    constexpr int kAttempts = 500;
    constexpr std::chrono::milliseconds kBetween(10);
    Outcome outcome = Begin(command);
    for (int attempt = 0; outcome.Ok() && attempt < kAttempts; ++attempt) {
        bool done = false;
        outcome = IsDone(command, &done);
        if (done) {
            return outcome;
        }
        std::this_thread::sleep_for(kBetween);
    }
    return outcome.Ok() ? Outcome{Outcome::Kind::Refused,
                                  fmt::format("{} was begun, but the camera has not finished it "
                                              "after 5 s",
                                              base::Printable(command))}
                        : outcome;
}

} // namespace kvgrab
