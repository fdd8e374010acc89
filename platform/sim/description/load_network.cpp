/** Reads the file of LoadNetwork and puts its cameras on the network. */
#include "sim/description/description.h"
#include "sim/network.h"
#include "sim_control.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

namespace sim
{

namespace
{

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/** The whole file, or nothing with the reason in `*error`. */
std::optional<std::string> ReadFile(const std::string& path, std::string* error)
{
    constexpr std::size_t kLargest = std::size_t{1} << 20;
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rbe"));
    if (file == nullptr) {
        *error = fmt::format("{}: can't be opened: {}", path, std::strerror(errno));
        return std::nullopt;
    }
    std::string text(kLargest + 1, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    if (std::ferror(file.get()) != 0) {
        *error = fmt::format("{}: can't be read: {}", path, std::strerror(errno));
        return std::nullopt;
    }
    if (text.size() > kLargest) {
        *error = fmt::format("{}: too large; expected a description of at most 1 MiB", path);
        return std::nullopt;
    }
    return text;
}

} // namespace

bool LoadNetwork(const std::string& path, std::string* error)
{
    const auto text = ReadFile(path, error);
    NetworkDescription description;
    if (!text || !ParseNetwork(*text, path, &description, error)) {
        return false;
    }
    ClearFaults();
    Network::Get().RemoveAll();
    for (std::size_t i = 0; i < description.cameras.size(); ++i) {
        Network::Get().Add(description.cameras[i], description.scenes[i],
                           description.recordings[i]);
    }
    for (const Fault& fault : description.faults) {
        AddFault(fault);
    }
    return true;
}

} // namespace sim
