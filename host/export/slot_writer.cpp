#include "export/slot_writer.h"

#include "export/index_row.h"
#include "export/pixels.h"

#include <exception>
#include <fmt/format.h>
#include <span>
#include <string>
#include <string_view>

namespace kvgrab
{

namespace
{

/** The part after the last colon, which is the same for all frames that fail for the same reason.
 */
std::string_view ReasonOf(std::string_view text)
{
    const std::size_t colon = text.rfind(": ");
    return colon == std::string_view::npos ? text : text.substr(colon);
}

} // namespace

void SlotWriter::WritePicture(unsigned worker, PngEncoder& encoder, std::vector<std::uint8_t>& file,
                              ExportSlot* slot)
{
    slot->fileBytes = 0;
    if (options_.format == ExportFormat::kStream) {
        const std::string trouble = stream_.Write(slot);
        if (!trouble.empty()) {
            trouble_.Tell(trouble, ReasonOf(trouble));
        }
        return;
    }
    const std::string name = files_.Name(slot->number);
    std::span<const std::uint8_t> content(slot->pixels.data(), slot->bytes);
    std::string text;
    const auto notEncoded = [&name](std::string_view why) {
        return fmt::format("'{}' can't be encoded: {}.", name, why);
    };
    try {
        if (options_.format == ExportFormat::kPng) {
            const Picture picture = {content, LayoutOfCodec(slot->values.codec), slot->values.width,
                                     slot->values.height};
            if (!encoder.Encode(picture, &file, &text)) {
                text = notEncoded(text);
            }
            content = file;
        }
    } catch (const std::exception& error) { // out of memory
        text = notEncoded(error.what());
    }
    if (text.empty()) {
        text = files_.WriteFile(worker, name, content);
    }
    if (text.empty()) {
        slot->fileBytes = content.size();
        return;
    }
    trouble_.Tell(text, ReasonOf(text));
}

bool SlotWriter::WriteRow(const ExportSlot& slot)
{
    if (options_.format == ExportFormat::kStream) {
        return true;
    }
    const std::string name = files_.Name(slot.number);
    const IndexRow row(slot.number, name, slot.values);
    const std::string text = files_.AppendRow(row.Line());
    if (text.empty()) {
        return true;
    }
    files_.RemoveFrame(slot.number); // a picture without a row in the index has no frame values
    trouble_.Tell(text, ReasonOf(text));
    return false;
}

} // namespace kvgrab
