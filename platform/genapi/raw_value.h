/** Reads and writes features as raw bytes in host byte order, through their nodes, and returns
 *  statuses in place of exceptions. */
#pragma once

#include "gev_api.h"

namespace genapi
{

/** The status for the exception that is being handled. Call it in an exception handler only. */
int StatusOfException() noexcept;

/** Both take 4 or 8 bytes (see GevGetFeatureValue) and never throw. */
int ReadRaw(GenApi_3_0::INodeMap& map, const char* feature, int size, void* value) noexcept;
int WriteRaw(GenApi_3_0::INodeMap& map, const char* feature, int size, const void* value) noexcept;

} // namespace genapi
