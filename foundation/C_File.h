#ifndef VEK_FOUNDATION_C_FILE_H
#define VEK_FOUNDATION_C_FILE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "foundation/Export.h"

// One C stdio stream and who closes it. Movable, not copyable; one thread at
// a time. Three ways to open:
//  - Open(path, mode): fopen; the object closes the stream.
//  - Attach(stream, owned): an existing stream such as stdin or stdout; it is
//    closed only when owned (an attached standard stream is flushed, never
//    closed).
//  - OpenReplace(path): the program's one atomic file write (also behind
//    N_FileUtilities::WriteFileAtomically). See below.
//
// Atomic replacement. OpenReplace creates a new temporary file beside the
// target, ".<name>.<pid>.<n>.tmp" in the target's directory (the same file
// system, so the rename is atomic), with mode 0666 less the umask, or the
// mode of the file it replaces. The bytes go there. Only Close() completes
// it: it flushes, fsyncs and closes the file, renames it over the target
// and fsyncs the directory. Abandon(), any failure before the rename, and
// whatever else ends the replacement (the destructor, a move onto the
// object, another Open) remove the temporary and leave the target
// untouched, so an exception that skips Close never puts half a file in
// place. A symbolic link keeps pointing at the replaced file. A path that
// exists and is not a regular file (a device, a FIFO) is opened and written
// directly instead, since it cannot be replaced.
//
// What survives a crash: the target holds its old contents or the whole new
// ones, never a mix; once Close has returned true the new contents survive
// a power loss too. A crash while a replacement is open can leave its
// temporary file behind (the pid in its name says whose).
//
// Errors: OpenReplace and Close answer false with errno set to the reason
// of the first step that failed. Close fails after the rename only when the
// directory cannot be synced (EINVAL, a file system without directory sync,
// is not a failure): the new contents are then in place but may not
// survive a power loss.
class VEK_API C_File {
 public:
  C_File() = default;
  // Abandon(): a replacement is thrown away, any other stream closed (a
  // failure here cannot be reported: call Close first).
  ~C_File();
  C_File(const C_File&) = delete;
  C_File& operator=(const C_File&) = delete;
  C_File(C_File&& io_other) noexcept;
  C_File& operator=(C_File&& io_other) noexcept;

  // Abandons what is open, then fopen(i_path, i_mode). False when it fails
  // (errno tells why).
  bool Open(const std::string& i_path, const char* i_mode);
  // Abandons what is open, then takes i_stream (not null).
  void Attach(std::FILE* i_stream, bool i_owned);
  // Abandons what is open, then starts a replacement of i_path (see above).
  // False (errno set) when the temporary file cannot be created.
  bool OpenReplace(const std::string& i_path);

  // Closes the stream (an attached unowned one is only flushed). For a
  // replacement, completes it (see above) when every write went well and
  // otherwise removes the temporary. True when nothing failed (false: errno
  // says why); true when nothing was open.
  bool Close();
  // Ends a replacement without touching the target; otherwise as Close.
  void Abandon();

  bool IsOpen() const { return m_stream != nullptr; }
  std::FILE* Get() const { return m_stream; }
  // The path given to Open, the file OpenReplace replaces (links
  // resolved), "" for an attached stream.
  const std::string& GetPath() const { return m_path; }
  // The file the bytes go to, for a writer that opens it by name: during a
  // replacement its temporary file (Close then renames it), else GetPath().
  const std::string& GetWritePath() const { return m_tempPath.empty() ? m_path : m_tempPath; }

  // fread / fwrite: the number of bytes moved (short on end of file or error).
  std::size_t Read(void* o_buffer, std::size_t i_size);
  std::size_t Write(const void* i_data, std::size_t i_size);
  // fseeko; false when the stream cannot seek (a pipe) or the offset is bad.
  bool Seek(std::int64_t i_offset, int i_whence);
  // Flushes pending output, then the size fstat reports for the stream's
  // descriptor. False when the query fails.
  bool GetSize(std::uint64_t& o_size);
  // True once a read or write on the stream has failed (ferror).
  bool HasError() const;

 private:
  void Reset();
  std::FILE* m_stream = nullptr;
  bool m_owned = false;
  std::string m_path;
  std::string m_tempPath;  // non-empty while a replacement is under way
};

#endif
