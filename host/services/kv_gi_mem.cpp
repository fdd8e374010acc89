// KvGiMem and KvGiMemInst: the frame memory.

#include "services/exported.h"

using kvgrab::Host;

extern "C" {

void KvGiMem__Init(std::uint32_t size, std::uint32_t)
{
    Host().PrepareMemory(size);
}

void KvGiMem__SetActFsize(std::uint32_t size)
{
    Host().SetFrameSize(size);
}

void* KvGiMem__GetBufPtr(std::uint32_t index)
{
    return Host().parts.memory.BufPtr(index);
}

int KvGiMem__IsFactoryUsed(void)
{
    return 1;
}

void KvGiMemInst__Init(std::uint32_t instance, std::uint32_t size, std::uint32_t)
{
    Host().PrepareInstance(instance, size);
}

void KvGiMemInst__SetActFsize(std::uint32_t instance, std::uint32_t size)
{
    Host().parts.memory.InstanceSetActFsize(instance, size);
}

int KvGiMemInst__Trigger(std::uint32_t instance, int, std::uint64_t timeUs, void* image, int flag)
{
    return Host().Trigger(instance, timeUs, image, flag);
}

} // extern "C"
