#include "sim/camera/user_sets.h"

#include <utility>

namespace sim
{

void UserSets::Begin(std::vector<genapi::Feature*> settings, std::size_t count)
{
    settings_ = std::move(settings);
    sets_.assign(count, Present());
}

void UserSets::Save(std::size_t set)
{
    sets_[set] = Present();
}

void UserSets::Load(std::size_t set)
{
    for (std::size_t i = 0; i < settings_.size(); ++i) {
        settings_[i]->Restore(sets_[set][i]);
    }
}

UserSets::Values UserSets::Present() const
{
    Values values;
    for (const genapi::Feature* setting : settings_) {
        values.push_back(setting->Cells());
    }
    return values;
}

} // namespace sim
