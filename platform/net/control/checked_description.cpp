#include "net/control/checked_description.h"

#include "net/description/description_text.h"
#include "net/library_owners.h"

#include <fmt/format.h>

namespace net
{

namespace
{

std::span<std::uint8_t> BytesOf(std::string* text)
{
    return {reinterpret_cast<std::uint8_t*>(text->data()), text->size()};
}

} // namespace

std::string ReadDescription(ControlChannel& channel, std::string* fault)
{
    constexpr std::size_t kUrlSize = 512;
    std::string text(kUrlSize, '\0');
    ErrorSlot error;
    TextPlace place;
    std::string wrong;
    bool read = channel.Read(kDescriptionUrl, BytesOf(&text), error.Out());
    if (read) {
        wrong = FindText(text, &place);
    }
    if (read && wrong.empty()) {
        text.assign(place.size, '\0');
        read = channel.Read(place.address, BytesOf(&text), error.Out());
    }
    if (!read) {
        wrong = fmt::format("can't be read: {}", error.Text());
    } else if (wrong.empty() && place.packed) {
        const std::string archive = std::move(text);
        wrong = Unpack(archive, &text);
    }
    if (wrong.empty()) {
        wrong = TextFault(text);
    }
    if (!wrong.empty()) {
        *fault = fmt::format("its description {}", wrong);
    }
    return text;
}

} // namespace net
