#include "foundation/C_File.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cerrno>
#include <utility>

#include "foundation/C_FileSpec.h"

C_File::~C_File() { Abandon(); }

C_File::C_File(C_File&& io_other) noexcept
    : m_stream(io_other.m_stream),
      m_owned(io_other.m_owned),
      m_path(std::move(io_other.m_path)),
      m_tempPath(std::move(io_other.m_tempPath)) {
  io_other.Reset();
}

C_File& C_File::operator=(C_File&& io_other) noexcept {
  if (this != &io_other) {
    Abandon();
    m_stream = io_other.m_stream;
    m_owned = io_other.m_owned;
    m_path = std::move(io_other.m_path);
    m_tempPath = std::move(io_other.m_tempPath);
    io_other.Reset();
  }
  return *this;
}

void C_File::Reset() {
  m_stream = nullptr;
  m_owned = false;
  m_path.clear();
  m_tempPath.clear();
}

bool C_File::Open(const std::string& i_path, const char* i_mode) {
  Abandon();
  std::FILE* stream = std::fopen(i_path.c_str(), i_mode);
  if (!stream) return false;
  m_stream = stream;
  m_owned = true;
  m_path = i_path;
  return true;
}

void C_File::Attach(std::FILE* i_stream, bool i_owned) {
  Abandon();
  m_stream = i_stream;
  m_owned = i_owned;
}

bool C_File::OpenReplace(const std::string& i_path) {
  Abandon();
  struct stat target;
  bool exists = ::stat(i_path.c_str(), &target) == 0;
  if (exists && !S_ISREG(target.st_mode)) return Open(i_path, "wb");
  // Through a symbolic link the file it names is replaced, not the link.
  std::string path = i_path;
  if (exists) {
    if (char* real = ::realpath(i_path.c_str(), nullptr)) {
      path = real;
      std::free(real);
    }
  }

  // O_EXCL with a name unique to this process and call, retried on a clash,
  // avoids mkstemp's fixed 0600 mode: the new file gets 0666 less the umask
  // like any fopen'd file, or the mode of the file it replaces.
  static std::atomic<unsigned> s_counter{0};
  C_FileSpec place(path);
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::string temp = place.GetDirectory() + "." + place.GetName() + "." +
                       std::to_string(::getpid()) + "." + std::to_string(s_counter++) + ".tmp";
    int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) {
      if (errno == EEXIST) continue;
      return false;
    }
    if (exists) (void)::fchmod(fd, target.st_mode & 07777);  // best effort: keep the old mode
    std::FILE* stream = ::fdopen(fd, "wb");
    if (!stream) {
      const int error = errno;
      ::close(fd);
      ::unlink(temp.c_str());
      errno = error;
      return false;
    }
    m_stream = stream;
    m_owned = true;
    m_path = path;
    m_tempPath = temp;
    return true;
  }
  errno = EEXIST;
  return false;
}

namespace {

// fsync of the directory that holds i_path, so that a rename into it
// survives a power loss. EINVAL: the file system has no such sync.
int SyncDirectory(const std::string& i_path) {
  std::string directory = C_FileSpec(i_path).GetDirectory();
  if (directory.empty()) directory = ".";
  const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return errno;
  const int error = ::fsync(fd) == 0 || errno == EINVAL ? 0 : errno;
  ::close(fd);
  return error;
}

}  // namespace

bool C_File::Close() {
  if (!m_stream) return true;
  const bool replacing = !m_tempPath.empty();
  // The first failure's errno is the one reported; EIO where the stream
  // recorded an error without one.
  int error = 0;
  if (std::fflush(m_stream) != 0) error = errno;
  if (!error && std::ferror(m_stream)) error = EIO;
  if (!error && replacing && ::fsync(::fileno(m_stream)) != 0) error = errno;
  if (m_owned && std::fclose(m_stream) != 0 && !error) error = errno;
  if (replacing) {
    if (!error && std::rename(m_tempPath.c_str(), m_path.c_str()) != 0) error = errno;
    if (error) {
      ::unlink(m_tempPath.c_str());
    } else {
      error = SyncDirectory(m_path);
    }
  }
  Reset();
  if (error) errno = error;
  return error == 0;
}

void C_File::Abandon() {
  if (m_stream && !m_tempPath.empty()) {
    std::fclose(m_stream);
    ::unlink(m_tempPath.c_str());
    Reset();
    return;
  }
  Close();
}

std::size_t C_File::Read(void* o_buffer, std::size_t i_size) {
  if (!m_stream || i_size == 0) return 0;
  return std::fread(o_buffer, 1, i_size, m_stream);
}

std::size_t C_File::Write(const void* i_data, std::size_t i_size) {
  if (!m_stream || i_size == 0) return 0;
  return std::fwrite(i_data, 1, i_size, m_stream);
}

bool C_File::Seek(std::int64_t i_offset, int i_whence) {
  return m_stream && ::fseeko(m_stream, static_cast<off_t>(i_offset), i_whence) == 0;
}

bool C_File::GetSize(std::uint64_t& o_size) {
  if (!m_stream) return false;
  std::fflush(m_stream);  // a write stream's size must include what is buffered
  struct stat info;
  if (::fstat(::fileno(m_stream), &info) != 0 || info.st_size < 0) return false;
  o_size = static_cast<std::uint64_t>(info.st_size);
  return true;
}

bool C_File::HasError() const { return m_stream && std::ferror(m_stream); }
