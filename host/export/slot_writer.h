/** Writes the frame of one slot of the exporter: its picture and its row in the index. */
#pragma once

#include "export/export_trouble.h"
#include "export/exporter.h"
#include "export/frame_files.h"
#include "export/frame_stream.h"
#include "export/png_encoder.h"
#include "export/slot.h"

#include <cstdint>
#include <vector>

namespace kvgrab
{

/** Has no state of its own: pictures of several slots may be written at a time, and rows one at a
 *  time. What goes wrong is reported to `trouble`. Throws std::bad_alloc. */
class SlotWriter
{
public:
    /** All of them outlive it. */
    SlotWriter(const ExportOptions& options, FrameFiles& files, FrameStream& stream,
               ExportTrouble& trouble)
        : options_(options), files_(files), stream_(stream), trouble_(trouble)
    {
    }

    /** Sets the slot's fileBytes. `encoder` and `file`, a buffer, are the worker's. */
    void WritePicture(unsigned worker, PngEncoder& encoder, std::vector<std::uint8_t>& file,
                      ExportSlot* slot);
    /** False: the row could not be written, and the picture is removed again. Frames on standard
     *  output have no rows. */
    bool WriteRow(const ExportSlot& slot);

private:
    const ExportOptions& options_;
    FrameFiles& files_;
    FrameStream& stream_;
    ExportTrouble& trouble_;
};

} // namespace kvgrab
