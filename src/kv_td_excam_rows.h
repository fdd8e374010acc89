/** What the sources of CExCam share. */
#pragma once

#include "kv_td_types.h"

namespace KvTd
{

/** The row of the property table that a type represents: reduced modulo the table's size; a
 *  negative one selects the last row. */
inline int RowOf(PropertyType type)
{
    const int row = static_cast<int>(type) % kPropertyCount;
    return row < 0 ? UNSPECIFIED_PROPERTY_TYPE : row;
}

/** Writes an output that the caller may not want. */
template <class T> void Store(T* output, T value)
{
    if (output != nullptr) {
        *output = value;
    }
}

} // namespace KvTd
