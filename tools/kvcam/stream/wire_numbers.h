/** Numbers as they are on the wire: the highest byte first. */
#pragma once

#include "tools/kvcam/big_endian.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kvcam
{

/** Writes the low `Bytes` bytes of the number. Returns the place behind them. */
template <std::size_t Bytes> std::uint8_t* PutNumber(std::uint8_t* to, std::uint64_t number)
{
    PutBigEndian(number, {to, Bytes});
    return to + Bytes;
}

template <std::size_t Bytes> void AppendNumber(std::vector<std::uint8_t>* to, std::uint64_t number)
{
    to->resize(to->size() + Bytes);
    PutNumber<Bytes>(to->data() + to->size() - Bytes, number);
}

} // namespace kvcam
