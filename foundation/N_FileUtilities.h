#ifndef VEK_FOUNDATION_N_FILEUTILITIES_H
#define VEK_FOUNDATION_N_FILEUTILITIES_H

#include <cstddef>
#include <string>

#include "foundation/Export.h"

// Small file helpers used by the message catalogs and the tools. All of them
// are stateless and safe to call from any thread; none throws except
// std::bad_alloc.
namespace N_FileUtilities {

// Largest file ReadFile accepts by default. Catalogs are a few kilobytes; a
// bigger file is not a catalog, and refusing it keeps a stray multi-gigabyte
// file from being pulled into memory.
constexpr std::size_t DEFAULT_MAX_READ = 64u * 1024u * 1024u;

// True when i_path names an existing regular file (symbolic links followed).
// Directories, devices and FIFOs are not files here: reading them could block.
VEK_API bool FileExists(const std::string& i_path);

// True when i_path names an existing directory (symbolic links followed).
VEK_API bool DirectoryExists(const std::string& i_path);

// Reads the whole file, opened read-only, into o_contents. False, with
// o_contents empty, when the file cannot be opened or read or holds more than
// i_maxSize bytes.
VEK_API bool ReadFile(const std::string& i_path, std::string& o_contents,
                      std::size_t i_maxSize = DEFAULT_MAX_READ);

// Replaces i_path with the i_size bytes at i_data, atomically: C_File's
// OpenReplace, one Write, Close (C_File.h says what survives a crash). 0 when
// the new contents are in place and synced; otherwise the errno of the step
// that failed, and the target is as it was (but for a failing directory
// sync, after which it holds the new contents). The caller creates missing
// directories. i_data may be null when i_size is 0.
VEK_API int WriteFileAtomically(const std::string& i_path, const void* i_data, std::size_t i_size);

// The private-profile scan over text already in memory. Lines end at a line
// feed; each line is trimmed of leading and trailing spaces (only spaces: a
// carriage return stays part of the line). A line starting with '[' names
// the current section: the line without its first and last character. Lines
// before any section belong to the section "". A line holding '=' is an
// entry: the key is the text before the first '=' less trailing spaces, the
// value the text after it less leading and trailing spaces; a value starting
// with '"' loses its first and last character. Other lines are ignored.
// True, with o_value set, at the first entry whose section and key both
// equal the ones asked for; false (o_value untouched) when there is none.
VEK_API bool FindProfileValue(const std::string& i_text, const std::string& i_section,
                              const std::string& i_key, std::string& o_value);

// o_result := i_default, then the value FindProfileValue finds in the file
// i_file. A file that cannot be read (see ReadFile) leaves the default.
VEK_API void GetPrivateProfileString(const std::string& i_section, const std::string& i_key,
                                     const std::string& i_default, std::string& o_result,
                                     const std::string& i_file);

// The entry read as above with an empty default: empty (or absent) gives
// i_default, anything else is converted with strtol base 0 (decimal, 0x
// hexadecimal, leading-zero octal; trailing text ignored).
VEK_API long GetPrivateProfileInt(const std::string& i_section, const std::string& i_key,
                                  long i_default, const std::string& i_file);

// The process's current directory (getcwd); empty when it cannot be had
// (removed, or longer than the system allows).
VEK_API std::string GetCurrentDirectory();

// Creates one directory (mkdir, mode 0777 less the umask). True when it was
// created or already exists as a directory.
VEK_API bool MakeDirectory(const std::string& i_path);

}  // namespace N_FileUtilities

#endif
