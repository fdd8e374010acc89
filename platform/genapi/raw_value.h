/** Features as raw bytes in host byte order, through their nodes, with statuses in place of
 *  exceptions. */
#pragma once

#include "gev_api.h"

namespace genapi
{

/** The status that stands for the exception in flight. Call it in a handler only. */
int StatusOfException() noexcept;

/** 4 or 8 bytes; see GevGetFeatureValue. Neither throws. */
int ReadRaw(GenApi_3_0::INodeMap& map, const char* feature, int size, void* value) noexcept;
int WriteRaw(GenApi_3_0::INodeMap& map, const char* feature, int size, const void* value) noexcept;

} // namespace genapi
