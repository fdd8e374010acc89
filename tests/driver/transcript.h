/** Stories made of single calls, for tests of operations. */
#pragma once

#include "tests/driver/words.h"
#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace rig
{

/** A story of calls: each with its result or what it threw, and what it left in the journal. */
class Transcript
{
public:
    /** The story's name in tests/driver/stories; the kinds of journal entries that are story, "log"
     *  for all levels. */
    Transcript(std::string name, Texts kinds) : name_(std::move(name)), kinds_(std::move(kinds)) {}
    ~Transcript() { EXPECT_TRUE(IsStory(name_, lines_)); }
    Transcript(const Transcript&) = delete;
    Transcript& operator=(const Transcript&) = delete;

    /** Appended to each result. */
    std::function<std::string()> state;

    void Line(const std::string& line) { lines_.push_back(line); }
    void Lines(const Texts& lines) { lines_.insert(lines_.end(), lines.begin(), lines.end()); }
    template <class Action> void Call(const std::string& what, Action call)
    {
        Rig::Clear();
        const std::string outcome = Outcome(call);
        lines_.push_back(what + outcome + (state ? " [" + state() + "]" : ""));
        Texts texts;
        for (const sim::JournalEntry& entry : sim::Journal()) {
            if (std::any_of(kinds_.begin(), kinds_.end(),
                            [&](const auto& kind) { return entry.kind.starts_with(kind); })) {
                texts.push_back(entry.kind + " " + entry.text);
            }
        }
        for (const std::string& text : FoldTables(texts)) {
            const std::size_t address = text.find("LUT arr 0x");
            lines_.push_back("    " + (address == text.npos ? text : text.substr(0, address + 10)));
        }
    }

private:
    template <class Call> static std::string Outcome(Call call)
    {
        try {
            if constexpr (std::is_void_v<decltype(call())>) {
                call();
                return "";
            } else {
                return ": " + std::to_string(call());
            }
        } catch (const GenICam::GenericException& e) {
            char* const name = abi::__cxa_demangle(typeid(e).name(), nullptr, nullptr, nullptr);
            std::string text = std::string(" throws ") + name;
            std::free(name);
            return text;
        }
    }

    std::string name_;
    Texts kinds_;
    Texts lines_;
};

/** Makes a call and records it under its own text. */
#define CALL(story, ...) (story).Call(#__VA_ARGS__, [&] { return __VA_ARGS__; })

} // namespace rig
