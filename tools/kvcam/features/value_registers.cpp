#include "tools/kvcam/features/value_registers.h"

#include "genapi/access_hook.h"
#include "genapi/raw_value.h"
#include "tools/kvcam/big_endian.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <string_view>
#include <vector>

namespace kvcam
{

namespace
{

using GenApi_3_0::INode;

constexpr std::uint32_t kWord = 4;
// The chunks of a frame follow the chunk of its pixels, whose id and length are part of the payload
// on the network only.
constexpr std::int64_t kPixelChunkTrailer = 8;

/** While it lives, the selectors of a register select one of its cells. Under the camera's lock. */
class CellScope
{
public:
    CellScope(const Register& reg, std::uint32_t cell) : steps_(reg.steps)
    {
        std::uint32_t bytes = cell * reg.cellBytes;
        for (auto step = steps_.rbegin(); step != steps_.rend(); ++step) {
            step->selector->Hold(bytes / step->bytes);
            bytes %= step->bytes;
        }
    }
    ~CellScope()
    {
        for (const CellStep& step : steps_) {
            step.selector->Hold(std::nullopt);
        }
    }
    CellScope(const CellScope&) = delete;
    CellScope& operator=(const CellScope&) = delete;

private:
    const std::vector<CellStep>& steps_;
};

/** The status of an access that raised something. */
template <class Access> Status Tell(sim::CameraModel& camera, Status denied, const Access& access)
{
    const genapi::AccessScope scope(camera);
    try {
        access();
        return Status::Done;
    } catch (...) { // cancellation is deferred, so this can only be an error
        switch (genapi::StatusOfException()) {
        case kGevBadValue:
            return Status::InvalidParameter;
        case kGevAccessDenied:
            return denied;
        case kGevTimeout:
            return Status::NoAnswer;
        default:
            return Status::Error;
        }
    }
}

} // namespace

Status ValueRegisters::Find(std::uint32_t address, std::size_t bytes, Place* place) const
{
    if (address % kWord != 0) {
        return Status::BadAlignment;
    }
    place->reg = map_.Find(address);
    if (place->reg == nullptr) {
        return Status::InvalidAddress;
    }
    const std::uint32_t offset = address - place->reg->address;
    place->cell = offset / place->reg->cellBytes;
    place->first = offset % place->reg->cellBytes;
    if (place->reg->IsText()) {
        return bytes <= place->reg->cellBytes - place->first ? Status::Done
                                                             : Status::InvalidParameter;
    }
    if (place->first != 0) {
        return Status::InvalidAddress;
    }
    return bytes == place->reg->bytes ? Status::Done : Status::InvalidParameter;
}

Status ValueRegisters::Read(std::uint32_t address, std::span<std::uint8_t> bytes)
{
    Place place;
    if (const Status found = Find(address, bytes.size(), &place); found != Status::Done) {
        return found;
    }
    return Tell(camera_, Status::AccessDenied, [&] {
        if (place.reg->kind == Register::Kind::Value) {
            ReadValue(place, bytes);
        } else {
            ReadStatus(*place.reg, bytes);
        }
    });
}

void ValueRegisters::ReadValue(const Place& place, std::span<std::uint8_t> bytes)
{
    const CellScope scope(*place.reg, place.cell);
    INode* const node = place.reg->feature->Node();
    const auto put = [&](std::int64_t number) {
        PutBigEndian(static_cast<std::uint64_t>(number), bytes);
    };
    if (auto* const integer = node->AsInteger()) {
        sim::CameraFeatures& features = camera_.Features();
        const bool withChunks =
            place.reg->feature->Name() == "PayloadSize" && features.chunkMode->Value();
        put(integer->GetValue() + (withChunks ? kPixelChunkTrailer : 0));
    } else if (auto* const real = node->AsFloat()) {
        PutBigEndian(std::bit_cast<std::uint64_t>(real->GetValue()), bytes);
    } else if (auto* const enumeration = node->AsEnumeration()) {
        put(enumeration->GetIntValue());
    } else if (auto* const boolean = node->AsBoolean()) {
        put(boolean->GetValue() ? 1 : 0);
    } else if (auto* const command = node->AsCommand()) {
        put(command->IsDone() ? 0 : 1);
    } else {
        const GenApi_3_0::gcstring text = node->AsString()->GetValue();
        const std::string_view all = text.view();
        const std::string_view rest = all.substr(std::min<std::size_t>(place.first, all.size()));
        std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
        std::copy_n(rest.begin(), std::min(rest.size(), bytes.size()), bytes.begin());
    }
}

void ValueRegisters::ReadStatus(const Register& reg, std::span<std::uint8_t> bytes)
{
    camera_.Enter();
    const genapi::NodeSpec& spec = reg.feature->Spec();
    if (reg.kind == Register::Kind::Available) {
        PutBigEndian(spec.available() ? 1 : 0, bytes);
    } else if (reg.kind == Register::Kind::Locked) {
        PutBigEndian(spec.locked() ? 1 : 0, bytes);
    } else if (auto* const integer = reg.feature->Node()->AsInteger()) {
        const std::int64_t max = static_cast<genapi::IntegerNode*>(integer)->Max();
        PutBigEndian(static_cast<std::uint64_t>(max), bytes);
    } else {
        auto* const real = static_cast<genapi::FloatNode*>(reg.feature->Node()->AsFloat());
        PutBigEndian(std::bit_cast<std::uint64_t>(real->Max()), bytes);
    }
}

Status ValueRegisters::Write(std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    Place place;
    if (const Status found = Find(address, bytes.size(), &place); found != Status::Done) {
        return found;
    }
    if (place.reg->kind != Register::Kind::Value) {
        return Status::WriteProtected;
    }
    if (place.first != 0) {
        return Status::InvalidAddress;
    }
    INode* const node = place.reg->feature->Node();
    const std::uint64_t number = place.reg->IsText() ? 0 : TakeBigEndian(bytes);
    if (node->AsCommand() != nullptr && number != 1) {
        return Status::InvalidParameter;
    }
    const bool everWritable = GenApi_3_0::IsWritable(place.reg->feature->UsualMode());
    const Status denied = everWritable ? Status::AccessDenied : Status::WriteProtected;
    return Tell(camera_, denied, [&] {
        const CellScope scope(*place.reg, place.cell);
        if (auto* const integer = node->AsInteger()) {
            integer->SetValue(static_cast<std::int64_t>(number));
        } else if (auto* const real = node->AsFloat()) {
            real->SetValue(std::bit_cast<double>(number));
        } else if (auto* const enumeration = node->AsEnumeration()) {
            enumeration->SetIntValue(static_cast<std::int64_t>(number));
        } else if (auto* const boolean = node->AsBoolean()) {
            boolean->SetValue(number != 0);
        } else if (auto* const command = node->AsCommand()) {
            command->Execute();
        } else {
            const std::string_view all(reinterpret_cast<const char*>(bytes.data()), bytes.size());
            node->AsString()->SetValue(all.substr(0, all.find('\0')));
        }
    });
}

} // namespace kvcam
