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
    return Host().BufferForDriver(index);
}

int KvGiMem__IsFactoryUsed(void)
{
    return 1;
}

void KvGiMemInst__Init(std::uint32_t instance, std::uint32_t size, std::uint32_t)
{
    kvgrab::HostParts& host = Host().parts;
    if (!host.memory.InstanceInit(instance, size)) {
        host.log.Line(1, "no memory instance " + std::to_string(instance) + ": " +
                             host.memory.Error());
    }
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
