/** Paints what a simulated camera sees into a frame buffer: a picture of the user's, or a pattern
 *  that moves from frame to frame with the frame number readable in it, at the brightness that
 *  exposure and gain give, in the region, orientation and pixel format asked for.
 *
 *      light source      canvas            response                  packing
 *      pattern, PNG  ->  root of light ->  exposure, balance     ->  Mono8, UYVY, ...
 *                        region, turned    noise, clip, curve
 *                        (kept)            (12-bit samples)
 *
 *  Only what moves in the scene is drawn anew on the canvas; all that follows is done for each
 *  frame, a line at a time.
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
    /** Shows the picture given, or the pattern. Keeps what the sensor sees from picture to picture
     *  unless that takes more than `mostBytes`. */
    explicit Scene(std::shared_ptr<const LightImage> image = nullptr,
                   std::size_t mostBytes = std::size_t{512} << 20);
    ~Scene();

    /** Writes the picture, and not a byte beyond `size`. Lines follow each other without padding.
     */
    void Paint(const PictureJob& job, std::uint8_t* image, std::size_t size);

    /** How bright the picture that `Paint` makes of the job is, without its noise, and how much
     *  light its region sees. Of wide pictures it looks at some columns only, evenly spread: good
     *  to about 1 % of full scale. Allocates nothing once a job of the same sensor was given. */
    PictureLevels Measure(const PictureJob& job);

private:
    struct State;
    std::unique_ptr<State> state_;
};

/** Bytes of a picture of this size and format, lines without padding; 0 for an unknown format. */
std::size_t PictureBytes(std::uint32_t width, std::uint32_t height, std::uint32_t pixelFormat);

} // namespace sim
