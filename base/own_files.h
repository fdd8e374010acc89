/** Opens folders and files for writing so that nobody else decides what is written: no link of
 *  another user is followed, and no file is opened that is a link, has a second name, or is no
 *  regular file.
 *
 *  Functions return a descriptor with close-on-exec, or -1 and in `*error` why: a part of a
 *  sentence, without a full stop. */
#pragma once

#include <string>
#include <string_view>

namespace base
{

/** The folder `path`. On the way to it, symbolic links of this user and of root are followed; the
 *  folder itself must not be one. `make`: folders that are missing are made. */
int OpenFolder(const std::string& path, bool make, std::string* error);

enum class Existing {
    Refuse,   ///< a file that exists is an error
    Keep,     ///< its contents stay until they are overwritten
    Append,   ///< further bytes go to its end
    Overwrite ///< its contents are dropped
};

/** The file `name` of a folder, or a file by its path, for writing; it is made when it is missing.
 */
int OpenFileForWriting(int folder, const std::string& name, Existing existing, std::string* error);
int OpenFileForWriting(const std::string& path, Existing existing, std::string* error);

/** Writes a file under another name and renames it, so that `path` is the old file or all of the
 *  new one. What is there and no regular file is not replaced. False: `*error` says why. */
bool ReplaceFile(const std::string& path, std::string_view text, std::string* error);

} // namespace base
