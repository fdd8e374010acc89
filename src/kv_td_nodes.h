/** Finding nodes of a camera. */
#pragma once

#include "gen_api.h"

namespace KvTd
{

/** The node seen through `Pointer`'s interface; null without a map, a node or that interface. */
template <class Pointer> Pointer FindNode(const GenApi::CNodeMapRef* map, const char* name)
{
    return map == nullptr ? Pointer() : Pointer(map->GetNode(name));
}

/** The same, but a missing node raises LogicalErrorException "NULL pointer dereferenced". */
template <class Pointer> Pointer RequireNode(const GenApi::CNodeMapRef* map, const char* name)
{
    Pointer node = FindNode<Pointer>(map, name);
    if (!node) {
        GenApi::ThrowNullPointer();
    }
    return node;
}

/** Has the enumeration this entry, in any access mode but not-implemented? */
inline bool IsEntryImplemented(const GenApi::CEnumerationPtr& enumeration, const char* entry)
{
    const GenApi::IEnumEntry* found = enumeration->GetEntryByName(entry);
    return found != nullptr && GenApi::IsImplemented(found->GetAccessMode());
}

/** Turns the temperature selector to "Internal" where it is not; false when the camera has no
 *  selector with such an entry. */
inline bool SelectInternalTemperature(const GenApi::CNodeMapRef* map)
{
    const auto selector = FindNode<GenApi::CEnumerationPtr>(map, "DeviceTemperatureSelector");
    if (!selector || !IsEntryImplemented(selector, "Internal")) {
        return false;
    }
    if (!(selector->ToString() == "Internal")) {
        selector->FromString("Internal");
    }
    return true;
}

} // namespace KvTd
