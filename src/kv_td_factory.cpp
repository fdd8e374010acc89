/** CBufferFactory: checks whether the host's buffers are one flat block and hands them over. */
#include "kv_td_factory.h"

#include "gev_api.h"
#include "kv_td_log.h"
#include "util/flat_block.h"

#include <new>
#include <sched.h>

namespace KvTd
{

static constexpr char kLogSource[] = "kv_td_factory";
static constexpr int kCycling = 1; ///< a released buffer is filled again

CBufferFactory kvBufFactory;

void* CBufferFactory::GetBuffer(void* cameraHandle, unsigned int* size, unsigned int bNum)
{
    if (size == nullptr || *size == 0 || bNum == 0) {
        KV_LOG(2, "Incorrect input params detected");
        return nullptr;
    }
    const unsigned int asked = *size;
    void* const first = KvGiMem__GetBufPtr(0);
    if (first == nullptr) {
        KV_LOG(2, "The buffer flat zero head found");
        return nullptr;
    }
    FlatBlock block(first, asked);
    for (unsigned int i = 0; i < bNum; ++i) {
        const void* const buffer = i == 0 ? first : KvGiMem__GetBufPtr(i);
        KV_LOG(4, "AllocBuffer: asked size %u - idx=%u buff %p (cpu=%u)", asked, i, buffer,
               static_cast<unsigned>(sched_getcpu()));
        if (i != 0 && !block.Add(buffer)) {
            KV_LOG(1, "Allocated buffer flat is incorrect !");
            pointers_.reset();
            return nullptr;
        }
    }
    pointers_.reset();
    pointers_.reset(new (std::nothrow) void*[bNum]);
    if (pointers_ == nullptr) {
        KV_LOG(1, "Can't alloc %u buffers pointers storage", bNum);
        return nullptr;
    }
    // Deliberate: a single buffer is never handed to the transfer.
    // Factory.HandsEvenlySpacedBuffersToTheTransfer
    if (bNum == 1 || cameraHandle == nullptr) {
        return first;
    }
    *size = static_cast<unsigned int>(block.Stride());
    for (unsigned int i = 0; i < bNum; ++i) {
        pointers_[i] = KvGiMem__GetBufPtr(i);
    }
    const int rc = GevInitializeTransfer(cameraHandle, kCycling, asked, bNum, pointers_.get());
    KV_LOG(3, "return flat buffer: %p, block size %u (asked %u), rc = %i", first, *size, asked, rc);
    return first;
}

} // namespace KvTd
