/** A transfer that is received by the stream receiver of this backend. */
#pragma once

#include "net/stream/chunk_values.h"
#include "net/stream/delivery_counts.h"
#include "net/stream/stream_receiver.h"
#include "net/stream/transfer.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace net
{

/** Opens the camera's stream channel to a socket of its own, and closes it when it retires. */
class OwnTransfer : public Transfer
{
public:
    static int Make(Device& device, FeatureMap& features, const TransferPlan& plan,
                    std::shared_ptr<Transfer>* transfer, DeferredLog& log);
    ~OwnTransfer() override { Retire(); }

    bool IsStarted() const override;
    void Start(std::uint32_t frames, const Geometry& geometry, const Pace& pace) override;
    void StartWasRefused(bool refused) override;
    void Stop() override;
    void Retire() override;
    int Wait(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs) override;
    int Release(_tag_GEVBUF_ENTRY* frame) override;
    GEV_TRANSFER_STATISTICS Statistics() const override;

private:
    struct Place {
        _tag_GEVBUF_ENTRY entry{};
        bool taken = false; ///< in the caller's hands
    };

    OwnTransfer(Device& device, FeatureMap& features, const TransferPlan& plan);
    /** Sets in the camera where it sends frames. Empty, or what failed. */
    std::string OpenChannel(const StreamSocket& socket);
    void CloseChannel();
    ReassemblySettings SettingsFor(const Geometry& geometry, const Pace& pace) const;
    /** Under the mutex: the frame for the caller. */
    Place& Deliver(const ArrivedFrame& arrived, DeferredLog& log);
    void Describe(Place& place, const ArrivedFrame& arrived, bool complete);
    void ForgetFrameValues();
    void ReadFrameValues(const _tag_GEVBUF_ENTRY& entry);
    void ReportLosses(const ReceivedFrame& frame, DeferredLog& log);

    Device& device_;
    FeatureMap& features_;
    const TransferPlan plan_;
    std::vector<std::uint8_t*> buffers_;
    bool channelOpen_ = false;
    bool sendsAgain_ = false;      ///< packets, when it is asked to
    std::uint32_t packetSize_ = 0; ///< bytes with all headers
    std::unique_ptr<StreamReceiver> receiver_;
    std::unique_ptr<ChunkValues> chunks_; ///< null: the description has no chunk that is read
    mutable std::mutex mutex_;
    std::vector<Place> places_;
    Geometry geometry_;
    std::uint64_t acquisition_ = 0;
    bool started_ = false;
    bool retired_ = false;
    std::uint64_t framesLeft_ = 0; ///< of those asked for; for ever: kForEver
    std::uint32_t reported_ = 0;   ///< faults, a bit for each
    bool reportedDrops_ = false;
    DeliveryCounts counts_;
};

} // namespace net
