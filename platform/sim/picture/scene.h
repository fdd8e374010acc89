/** Paints what a simulated camera sees into a frame buffer: a picture from the user, or a pattern
 *  that moves from frame to frame and shows the frame number, at the brightness that exposure and
 *  gain give, in the requested region, orientation and pixel format.
 *
 *      light source      canvas            response                  packing
 *      pattern, PNG  ->  root of light ->  exposure, balance     ->  Mono8, UYVY, ...
 *                        region, turned    noise, clip, curve
 *                        (kept)            (12-bit samples)
 *
 *  Only the moving parts of the scene are drawn again on the canvas; the steps after it are done
 * for each frame, a line at a time.
 *
 *  A pure unit: the same job gives the same bytes. No clock, no camera, no lock. One scene serves
 *  one camera and one thread at a time; painting allocates nothing once a job of the same size
 *  and format has been painted. */
#pragma once

#include "sim/picture/picture_job.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace sim
{

class LightImage;

class Scene
{
public:
    /** Shows `image`, or the pattern if it is null. Keeps the canvas from picture to picture unless
     *  it would take more than `mostBytes`. */
    explicit Scene(std::shared_ptr<const LightImage> image = nullptr,
                   std::size_t mostBytes = std::size_t{512} << 20);
    ~Scene();

    /** Writes the picture, but no byte beyond `size`. Lines follow each other without padding. */
    void Paint(const PictureJob& job, std::uint8_t* image, std::size_t size);

    /** Measures the brightness of the picture that `Paint` would make of the job, without noise,
     *  and the light in its region. Wide pictures are sampled at evenly spaced columns, which is
     *  accurate to about 1 % of full scale. Allocates nothing once a job with the same sensor has
     *  been measured. */
    PictureLevels Measure(const PictureJob& job);

private:
    struct State;
    std::unique_ptr<State> state_;
};

/** Bytes of a picture of this size and format, lines without padding; 0 for an unknown format. */
std::size_t PictureBytes(std::uint32_t width, std::uint32_t height, std::uint32_t pixelFormat);

} // namespace sim
