/** Stands in for the description file until it joins. */
#include "sim_control.h"

namespace sim
{

bool LoadNetwork(const std::string&, std::string* error)
{
    *error = "description files can't be read yet";
    return false;
}

} // namespace sim
