/** The kinds of cameras behind the contract, and the interfaces' out-of-line members. */
#include "gev_backend.h"
#include "sim/sim_camera.h"

namespace gevplat
{

Camera::~Camera() = default;
CameraKind::~CameraKind() = default;

std::vector<CameraKind*> CameraKinds()
{
    static auto* simulated = new sim::SimKind; // kept for threads that run while the process ends
    return {simulated};
}

} // namespace gevplat
