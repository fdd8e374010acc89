#include "tools/kvcam/features/features.h"

#include "tools/kvcam/features/acquisition_registers.h"
#include "tools/kvcam/features/description_text.h"
#include "tools/kvcam/features/register_map.h"
#include "tools/kvcam/features/value_registers.h"

#include <algorithm>
#include <utility>

namespace kvcam
{

namespace
{

/** Registers of the acquisition lie before those of the camera's own features. */
constexpr std::uint32_t kOwnFeatures = kFeatureBase + 0x100;
static_assert(kFeatureBase + kAcquisitionBytes <= kOwnFeatures);

class TextMemory : public Memory
{
public:
    explicit TextMemory(std::string text) { Set(std::move(text)); }
    /** Clients read whole words, so blank lines fill up the last one. */
    void Set(std::string text)
    {
        constexpr std::size_t kWord = 4;
        text_ = std::move(text);
        text_.append((kWord - text_.size() % kWord) % kWord, '\n');
    }
    const std::string& Text() const { return text_; }

    Status Read(std::uint32_t address, std::span<std::uint8_t> bytes) override
    {
        const std::size_t first = address - kDescriptionBase;
        if (address < kDescriptionBase || first > text_.size() ||
            bytes.size() > text_.size() - first) {
            return Status::InvalidAddress;
        }
        std::copy_n(text_.begin() + static_cast<std::ptrdiff_t>(first), bytes.size(),
                    bytes.begin());
        return Status::Done;
    }
    Status Write(std::uint32_t, std::span<const std::uint8_t>) override
    {
        return Status::WriteProtected;
    }

private:
    std::string text_;
};

} // namespace

class Features::Impl : public Memory
{
public:
    Impl(sim::CameraModel& camera, Acquisition& acquisition)
        : map_(camera.Features(), kOwnFeatures), own_(camera, map_),
          acquisition_(camera, acquisition), text_(DescribeFeatures(camera, map_))
    {
    }

    Status Read(std::uint32_t address, std::span<std::uint8_t> bytes) override
    {
        return At(address).Read(address, bytes);
    }
    Status Write(std::uint32_t address, std::span<const std::uint8_t> bytes) override
    {
        return At(address).Write(address, bytes);
    }

    TextMemory& Text() { return text_; }
    std::string_view FeatureAt(std::uint32_t address) const
    {
        if (address < kOwnFeatures) {
            return AcquisitionFeatureAt(address);
        }
        const Register* found = map_.Find(address);
        return found == nullptr ? std::string_view() : std::string_view(found->feature->Name());
    }

private:
    Memory& At(std::uint32_t address)
    {
        return address < kOwnFeatures ? static_cast<Memory&>(acquisition_) : own_;
    }

    RegisterMap map_;
    ValueRegisters own_;
    AcquisitionRegisters acquisition_;
    TextMemory text_;
};

Features::Features(sim::CameraModel& camera, Acquisition& acquisition)
    : impl_(std::make_unique<Impl>(camera, acquisition))
{
}

Features::~Features() = default;

Memory& Features::Description()
{
    return impl_->Text();
}

Memory& Features::Values()
{
    return *impl_;
}

std::size_t Features::DescriptionBytes() const
{
    return DescriptionText().size();
}

const std::string& Features::DescriptionText() const
{
    return impl_->Text().Text();
}

void Features::ReplaceDescription(std::string text)
{
    impl_->Text().Set(std::move(text));
}

std::string_view Features::FeatureAt(std::uint32_t address) const
{
    return impl_->FeatureAt(address);
}

} // namespace kvcam
