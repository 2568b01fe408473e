#ifndef VEK_FOUNDATION_C_FILESPEC_H
#define VEK_FOUNDATION_C_FILESPEC_H

#include <string>

// A file path, taken apart and put together as text: directory (up to and
// including the last '/'), name, base name and extension. Nothing here looks
// at the file system except MakeAbsolute, which asks for the current
// directory. A plain value: copyable, no shared state.
class C_FileSpec {
 public:
  C_FileSpec() = default;
  explicit C_FileSpec(const std::string& i_path) : m_path(i_path) {}

  const std::string& GetPath() const { return m_path; }
  // Up to and including the last '/'; "" when the path has none.
  std::string GetDirectory() const;
  // After the last '/' (the whole path when it has none).
  std::string GetName() const;
  // The name less its extension.
  std::string GetBaseName() const;
  // From the name's last '.' on, dot included (".msg"); "" when the name has
  // no dot or only a leading one (".profile" has no extension).
  std::string GetExtension() const;
  bool IsAbsolute() const { return !m_path.empty() && m_path[0] == '/'; }

  // Keeps the directory, replaces the name.
  C_FileSpec& SetName(const std::string& i_name);
  // Replaces (or adds, or with "" removes) the name's extension; a missing
  // leading dot is supplied.
  C_FileSpec& SetExtension(const std::string& i_extension);
  // Keeps the name, replaces the directory; a missing trailing '/' is supplied
  // (except for "", which leaves the bare name).
  C_FileSpec& SetDirectory(const std::string& i_directory);
  // Joins a path onto this one as onto a directory: an absolute i_path
  // replaces this one, a relative one is added after a '/'.
  C_FileSpec& Append(const std::string& i_path);

  // Resolves "." and ".." components and collapses repeated '/', textually
  // (symbolic links are not followed, so "link/.." becomes "."). ".." at the
  // root stays at the root; leading ".." of a relative path are kept. A
  // trailing '/' is kept; a relative path that resolves to nothing becomes
  // "." ("./" when it ended in '/').
  C_FileSpec& Normalize();

  // Joins a relative path to the current directory, then normalises. False,
  // path unchanged, when the current directory cannot be had.
  bool MakeAbsolute();

 private:
  std::string::size_type NameStart() const;
  std::string m_path;
};

#endif
