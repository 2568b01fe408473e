#ifndef VEK_TOOLS_C_DRIVELOCK_H
#define VEK_TOOLS_C_DRIVELOCK_H

#include <string>

// The per-drive flash lock across processes: an exclusive advisory lock
// (flock) on a lock file named from the drive's identity, held for the whole
// flash of that drive, whatever the driver. Two vekctl processes never
// flash one drive at once, even through different drivers or device names.
//
// The file holds "PID TIME" of the holder (TIME in seconds since the epoch)
// so that a refused process can say who holds it; the kernel releases the
// lock when the holder exits, however it ends, so a stale file is harmless.
//
// Where: $VEK_LOCK_DIR when set (tests); else /run/vek, the one directory
// every root process shares whatever its session; else (not root)
// $XDG_RUNTIME_DIR/vek; else /tmp/vek-UID. The directory is created when
// missing.
//
// Not thread-safe; one object per drive. The lock is released by the
// destructor.
class C_DriveLock {
 public:
  // The lock's name: the serial, then "_" and the WWN when there is one,
  // each reduced to letters, digits, '-' and '.'. i_fallback (the driver's
  // device id) names a drive that reports no serial.
  static std::string Key(const std::string& i_serial, const std::string& i_wwn,
                         const std::string& i_fallback);
  static std::string Directory();

  // Opens (creates) the lock file of i_key. Throws C_Failure (3) naming the
  // file and the reason when it cannot.
  explicit C_DriveLock(const std::string& i_key);
  ~C_DriveLock();
  C_DriveLock(const C_DriveLock&) = delete;
  C_DriveLock& operator=(const C_DriveLock&) = delete;

  // Takes the lock without waiting: true when taken, false when another
  // process holds it (Holder then says who).
  bool TryLock();
  // Waits for the lock: true when taken, false when it cannot be had.
  bool Lock();
  // "process 1234 since 2026-11-23 10:15:02" from the file (local time), or
  // "another process" when it holds nothing readable.
  std::string Holder() const;
  const std::string& Path() const { return m_path; }

 private:
  void Claim();

  std::string m_path;
  int m_fd;
  bool m_held;
};

#endif
