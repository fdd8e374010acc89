/** A consumer that compares each frame with the picture that an earlier run exported under the same
 *  number of the camera. At random it copies a frame, looks at it in place until it is overwritten,
 * or holds it for a while. Usage: holding_consumer MEMORY FOLDER-OF-RAW-PICTURES SEED. Ends with
 * the host: status 0, or 1 if the library called a picture whole that differs from the exported
 * one. */
#include "kvframes.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace
{

using Pixels = std::vector<char>;

/** Files by the camera's number of the frame. */
std::map<std::uint64_t, std::string> ReadIndex(const std::string& folder)
{
    constexpr int kFileColumn = 1;
    constexpr int kNumberColumn = 10;
    std::map<std::uint64_t, std::string> files;
    std::ifstream index(folder + "/index.csv");
    std::string row;
    std::getline(index, row);
    while (std::getline(index, row)) {
        std::istringstream columns(row);
        std::vector<std::string> values;
        for (std::string value; std::getline(columns, value, ',');) {
            values.push_back(value);
        }
        files[std::stoull(values.at(kNumberColumn))] = folder + "/" + values.at(kFileColumn);
    }
    return files;
}

Pixels ReadPicture(const std::string& name)
{
    Pixels pixels(std::filesystem::file_size(name));
    std::ifstream(name, std::ios::binary)
        .read(pixels.data(), static_cast<std::streamsize>(pixels.size()));
    return pixels;
}

bool Equal(const void* pixels, std::uint64_t bytes, const Pixels& picture)
{
    return bytes == picture.size() && std::memcmp(pixels, picture.data(), bytes) == 0;
}

class Watch
{
public:
    Watch(kvf_source* source, const std::string& folder, unsigned seed)
        : source_(source), files_(ReadIndex(folder)), random_(seed)
    {
    }

    void Look(const kvf_frame& frame)
    {
        const auto found = files_.find(frame.camera_frame_number);
        if (found == files_.end()) {
            return;
        }
        const Pixels picture = ReadPicture(found->second);
        switch (random_() % 3) {
        case 0: {
            Pixels copy(frame.bytes);
            if (kvf_copy(source_, &frame, copy.data(), copy.size()) == KVF_OK) {
                Judge("copied", frame, Equal(copy.data(), copy.size(), picture));
            }
            break;
        }
        case 1:
            LookOn("seen", frame, picture, 150);
            break;
        default:
            if (kvf_hold(source_, &frame) == KVF_OK) {
                lost_ += LookOn("held", frame, picture, random_() % 150) ? 0 : 1;
                kvf_release(source_);
            }
        }
    }
    int Result() const
    {
        std::printf("copied %d seen %d held %d lost %d\n", counts_["copied"], counts_["seen"],
                    counts_["held"], lost_);
        return torn_ ? 1 : 0;
    }

private:
    /** Again and again, some milliseconds apart; false: the host has the buffer filled by now. */
    bool LookOn(const char* how, const kvf_frame& frame, const Pixels& picture, unsigned long looks)
    {
        for (; looks > 0; --looks) {
            const bool equal = Equal(frame.pixels, frame.bytes, picture);
            if (kvf_is_valid(source_, &frame) == 0) {
                return false;
            }
            Judge(how, frame, equal);
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
        }
        return true;
    }
    void Judge(const char* what, const kvf_frame& frame, bool equal)
    {
        ++counts_[what];
        if (!equal) {
            torn_ = true;
            std::printf("torn: frame %llu, %s\n",
                        static_cast<unsigned long long>(frame.camera_frame_number), what);
            std::fflush(stdout);
        }
    }

    kvf_source* source_;
    const std::map<std::uint64_t, std::string> files_;
    std::mt19937 random_;
    mutable std::map<std::string, int> counts_;
    int lost_ = 0; ///< frames that the host took back
    bool torn_ = false;
};

} // namespace

int main(int argc, char** argv)
{
    kvf_source* source = nullptr;
    if (argc != 4 || kvf_open(argv[1], &source) != KVF_OK) {
        return 2;
    }
    Watch watch(source, argv[2], static_cast<unsigned>(std::stoul(argv[3])));
    kvf_frame frame;
    kvf_result result = KVF_TIMEOUT;
    while (result == KVF_OK || result == KVF_TIMEOUT) {
        result = kvf_wait(source, KVF_NEXT, 1000, &frame);
        if (result == KVF_OK) {
            watch.Look(frame);
        }
    }
    kvf_close(source);
    return result == KVF_NO_HOST ? watch.Result() : 2;
}
