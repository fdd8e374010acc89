/** CBufferFactory: hands the host's frame buffers to the camera's transfer as one flat block. */
#pragma once

#include <memory>

namespace KvTd
{

/** Grab thread only. */
class CBufferFactory
{
public:
    /** Checks that the host's first `bNum` buffers are evenly spaced, each of `*size` bytes at
     *  least, and initialises the transfer with them, whose failure is only logged. Returns the
     *  block's start and sets `*size` to the distance of two buffers; null on failure.
     *  Without a camera nothing is initialised, nor with a single buffer. */
    void* GetBuffer(void* cameraHandle, unsigned int* size, unsigned int bNum);

private:
    std::unique_ptr<void*[]> pointers_; ///< the transfer's buffer list
};

/** The one factory of the library. */
extern CBufferFactory kvBufFactory;

} // namespace KvTd
