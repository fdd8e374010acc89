/** The user sets of a camera: the values of its settings, to be restored later. Set 0 is Default,
 *  the settings at power-up, and can't be saved. Under the camera's lock. */
#pragma once

#include "genapi/nodes.h"

#include <any>
#include <cstddef>
#include <vector>

namespace sim
{

class UserSets
{
public:
    /** Fills `count` sets with the present values of these features, which belong to the camera. */
    void Begin(std::vector<genapi::Feature*> settings, std::size_t count);
    void Save(std::size_t set);
    void Load(std::size_t set);

private:
    using Values = std::vector<std::any>; // one for each setting

    Values Present() const;

    std::vector<genapi::Feature*> settings_;
    std::vector<Values> sets_;
};

} // namespace sim
