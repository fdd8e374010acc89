/** The simulated backend behind the contract. */
#pragma once

#include "gev_backend.h"
#include "sim/camera/camera_model.h"

#include <memory>

namespace sim
{

/** An opened simulated camera: it owns the control of the model, the transfer and the options; the
 *  settings belong to the model. */
class SimCamera : public gevplat::Camera
{
public:
    /** The caller has taken control of the model; the destructor gives it back. */
    explicit SimCamera(std::shared_ptr<CameraModel> model);
    ~SimCamera() override;

    GEV_DEVICE_INFO* Info() override;
    GenApi_3_0::CNodeMapRef* NodeMap() override { return &nodeMap_; }
    int GetOptions(GEV_CAMERA_OPTIONS* options) override;
    int SetOptions(const GEV_CAMERA_OPTIONS& options) override;
    int GetFeatureValue(const char* feature, int size, void* value) override;
    int SetFeatureValue(const char* feature, int size, const void* value) override;
    int GetPayload(std::uint64_t* payloadSize, std::uint32_t* pixelFormat) override;
    int InitializeTransfer(std::uint64_t size, std::uint32_t count, void** buffers) override;
    int StartTransfer(std::uint32_t frames) override;
    int AbortTransfer() override;
    int FreeTransfer() override;
    int WaitForNextFrame(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs) override;
    int ReleaseFrame(_tag_GEVBUF_ENTRY* frame) override;
    GEV_TRANSFER_STATISTICS Statistics() override;

private:
    /** Advances the camera to the present time; kGevTimeout when it is absent. Under the lock. */
    int Reach();

    std::shared_ptr<CameraModel> model_;
    GenApi_3_0::CNodeMapRef nodeMap_;
    GEV_DEVICE_INFO info_;
    GEV_CAMERA_OPTIONS options_;
};

class SimBackend : public gevplat::Backend
{
public:
    const char* Name() const override { return "sim"; }
    int List(std::vector<GEV_DEVICE_INFO>* devices) override;
    int Open(const GEV_DEVICE_INFO& device, int accessMode,
             std::unique_ptr<gevplat::Camera>* camera) override;
    int IsHeld(const GEV_DEVICE_INFO& device, bool* held) override;
    /** Does nothing: the simulated network stays as it is. */
    void Uninitialize() override {}
};

} // namespace sim
