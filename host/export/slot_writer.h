/** Writes the frame of one slot of the exporter: its picture and its row in the index. */
#pragma once

#include "export/export_trouble.h"
#include "export/exporter.h"
#include "export/frame_files.h"
#include "export/png_encoder.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kvgrab
{

/** A frame to be written. Used by the grab thread until it is accepted, then by one worker. */
struct ExportSlot {
    std::vector<std::uint8_t> pixels; ///< at least `bytes`, never shrinks
    std::size_t bytes = 0;
    std::uint64_t number = 0;
    FrameView values; ///< without pixels; its codec is the copy below
    std::array<char, 24> codec = {};
    std::size_t fileBytes = 0; ///< 0: the file could not be written
    bool done = false;
};

/** Has no state of its own: pictures of several slots may be written at a time, and rows one at a
 *  time. What goes wrong is reported to `trouble`. Throws std::bad_alloc. */
class SlotWriter
{
public:
    /** All of them outlive it. */
    SlotWriter(const ExportOptions& options, FrameFiles& files, ExportTrouble& trouble)
        : options_(options), files_(files), trouble_(trouble)
    {
    }

    /** Sets the slot's fileBytes. `encoder` and `file`, a buffer, are the worker's. */
    void WritePicture(unsigned worker, PngEncoder& encoder, std::vector<std::uint8_t>& file,
                      ExportSlot* slot);
    /** False: the row could not be written, and the picture is removed again. */
    bool WriteRow(const ExportSlot& slot);

private:
    const ExportOptions& options_;
    FrameFiles& files_;
    ExportTrouble& trouble_;
};

} // namespace kvgrab
