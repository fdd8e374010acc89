/** Reads the [[fault]] tables of a description file. */
#pragma once

#include "base/toml_reader.h"
#include "sim/description/feature_probe.h"
#include "sim_control.h"

#include <string_view>
#include <vector>

namespace sim
{

class FaultReader
{
public:
    /** `cameras` are those of the file; they outlive the reader. */
    explicit FaultReader(const std::vector<CameraSetup>& cameras) : cameras_(cameras) {}
    /** Throws TextError. */
    Fault Read(base::TableReader& reader);

private:
    void ReadCamera(base::TableReader& reader, Fault* fault) const;
    void ReadName(base::TableReader& reader, Fault* fault);
    bool Knows(std::string_view feature);

    const std::vector<CameraSetup>& cameras_;
    FeatureProbe mono_{Model::Mono, 64, 64};
    FeatureProbe color_{Model::Color, 64, 64};
};

} // namespace sim
