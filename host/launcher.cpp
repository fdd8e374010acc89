/** The program kvgrab: it loads the library that holds everything else, and calls it.
 *
 *  The loader of the system trusts no library path that is relative to the program while the
 *  program has capabilities that its user lacks. Therefore the program is linked with none of our
 *  libraries, and loads them by their full paths. In that case it also keeps only harmless
 *  variables of the environment, and loads no file that anybody but the program's owner or root
 *  can have put there: a hard link to the program in a folder of an attacker's must not load the
 *  attacker's libraries. */
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <exception>
#include <string>
#include <string_view>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace
{

constexpr int kCannotStart = 4; // as for a driver that can't be loaded

/** Variables that are kept while the program has more rights than its user. */
constexpr std::string_view kKeptVariables[] = {
    "COLUMNS", "HOME",          "INVOCATION_ID", "JOURNAL_STREAM",    "LANG",
    "LOGNAME", "NOTIFY_SOCKET", "PATH",          "RUNTIME_DIRECTORY", "SHELL",
    "TERM",    "USER",          "WATCHDOG_PID",  "WATCHDOG_USEC",     "XDG_RUNTIME_DIR"};

bool IsKept(std::string_view variable)
{
    const std::string_view name = variable.substr(0, variable.find('='));
    for (const std::string_view kept : kKeptVariables) {
        if (name == kept) {
            return true;
        }
    }
    return name.substr(0, 3) == "LC_";
}

void KeepHarmlessVariables()
{
    std::vector<std::string> dropped;
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
        if (!IsKept(*variable)) {
            dropped.emplace_back(*variable, std::strcspn(*variable, "="));
        }
    }
    for (const std::string& name : dropped) {
        unsetenv(name.c_str());
    }
}

/** Whether only root or the program's owner can have put the file there. */
bool IsTrusted(const std::string& path, uid_t owner)
{
    const std::size_t slash = path.rfind('/');
    for (const std::string& checked : {path, path.substr(0, slash)}) {
        struct stat status = {};
        if (stat(checked.c_str(), &status) != 0 || (status.st_uid != 0 && status.st_uid != owner) ||
            (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
            return false;
        }
    }
    return true;
}

/** For errors that nobody handles, such as a lack of memory while libraries are loaded. */
[[noreturn]] void EndAtOnce()
{
    constexpr char kText[] = "kvgrab: ended by an unexpected error, perhaps a lack of memory.\n";
    [[maybe_unused]] const ssize_t shown = write(STDERR_FILENO, kText, sizeof kText - 1);
    _exit(1);
}

int Fail(const char* why)
{
    std::fprintf(stderr, "kvgrab: can't start: %s.\n", why);
    return kCannotStart;
}

/** Loads a library of ours from the library folder next to the program's; null: `*error` says why.
 */
void* Load(const std::string& folder, const char* name, bool privileged, uid_t owner,
           std::string* error)
{
    for (const char* libraries : {"/lib/", "/" KV_LIBRARY_FOLDER "/"}) {
        std::array<char, PATH_MAX> real{};
        if (realpath((folder + libraries + name).c_str(), real.data()) == nullptr) {
            continue;
        }
        if (privileged && !IsTrusted(real.data(), owner)) {
            *error = real.data();
            *error += " is not loaded: it is writable by others than root and the program's owner, "
                      "and the program has more rights than its user";
            return nullptr;
        }
        void* const library = dlopen(real.data(), RTLD_NOW | RTLD_GLOBAL);
        if (library == nullptr) {
            *error = dlerror();
        }
        return library;
    }
    *error = name;
    *error += " is not in the library folder next to the program's";
    return nullptr;
}

} // namespace

int main(int argc, char** argv)
{
    std::set_terminate(EndAtOnce);
    const bool privileged = getauxval(AT_SECURE) != 0;
    std::array<char, PATH_MAX> program{};
    struct stat status = {};
    if (readlink("/proc/self/exe", program.data(), program.size() - 1) < 0 ||
        stat("/proc/self/exe", &status) != 0) {
        return Fail("the program's own file can't be found; is /proc mounted?");
    }
    if (privileged) {
        KeepHarmlessVariables();
    }
    std::string folder = program.data();
    for (int up = 0; up < 2; ++up) { // out of bin/
        folder.resize(folder.rfind('/'));
    }
    std::string error;
    void* host = nullptr;
    if (Load(folder, "libgevplat.so.0", privileged, status.st_uid, &error) != nullptr) {
        host = Load(folder, "libkvgrab-host.so.0", privileged, status.st_uid, &error);
    }
    if (host == nullptr) {
        return Fail(error.c_str());
    }
    const auto run =
        reinterpret_cast<int (*)(int, char**)>(dlsym(host, "KvGrabMain")); // host/main.cpp
    return run == nullptr ? Fail("libkvgrab-host.so.0 is of another version") : run(argc, argv);
}
