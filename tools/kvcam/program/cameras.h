/** The cameras that the command line asks for, on the network. */
#pragma once

#include "tools/kvcam/program/options.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace kvcam
{

/** A camera with all its parts; it is on the network for the life of this object. */
class OneCamera;

class Cameras
{
public:
    /** Raises std::runtime_error, whose text is a sentence, if a camera can't be made. */
    explicit Cameras(const Options& options);
    ~Cameras();
    Cameras(const Cameras&) = delete;
    Cameras& operator=(const Cameras&) = delete;

    /** Where they are. */
    const std::vector<std::string>& Addresses() const { return addresses_; }

private:
    std::vector<std::string> addresses_;
    std::vector<std::unique_ptr<OneCamera>> cameras_;
};

/** The generated description of the first camera's features. */
std::string DescriptionOf(const Options& options);

} // namespace kvcam
