// Files that are there whole, or not at all.
#pragma once

#include "tools/pellsub/report.h"

#include <optional>
#include <string>
#include <string_view>

// Makes the directory, and those it is in, where there is none. Nothing, or why there will be no files in it.
std::optional<std::string> MakeDirectory(const std::string &directory);

// Equal for all ways to write the path of a file. A link is not followed, as what is written replaces it.
std::string FileKey(const std::string &path);

// What of a language may be part of a file name: letters, digits and what joins them. It is whatever a file says.
std::string FileNamePart(std::string_view language);

// Writes beside the place and renames. A link is replaced, not followed; permissions stay those of the file before.
// Nothing, or why the file is not written: of kind "file_exists" when one was there and stays.
std::optional<Problem> WriteFileSafely(const std::string &path, std::string_view bytes, bool overwrite);

// What WriteFileSafely would say of a file that is there now. For asking before the work is done.
std::optional<Problem> FileInTheWay(const std::string &path, bool overwrite);
