/** What a frame carries besides its pixels and its time, as metadata of a buffer.
 *
 *  It is a custom meta (GstCustomMeta), so that programs in any language can read it by its name
 * and need no header. */
#pragma once

#include "kvframes.h"

#include <gst/gst.h>

namespace kvgst
{

constexpr const char* kFrameMetaName = "KvFramesMeta";

/** Makes the type known. Once, from the plugin's initialisation. */
void RegisterFrameMeta();

/** Adds the frame's values, and its capture time as a GstReferenceTimestampMeta. */
void AddFrameMeta(GstBuffer* buffer, const kvf_frame& frame);

} // namespace kvgst
