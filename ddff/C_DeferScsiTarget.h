#ifndef VEK_DDFF_C_DEFERSCSITARGET_H
#define VEK_DDFF_C_DEFERSCSITARGET_H

#include <cstdint>
#include <string>

#include "ddff/DDFFFormat.h"
#include "targets/C_ScsiTarget.h"

class C_DDFF;

// A SCSI disk behind an array controller whose firmware is flashed deferred:
// the module builds a DDFF request (C_DDFF) holding the image, the drive's
// identity and the caller's instruction program, sends it to the controller
// and marks it pending; the controller-side agent flashes the drive later and
// records the outcome in the request's status block, which Init reads back
// and publishes. The driver creates this class instead of C_ScsiTarget for
// such drives; it keeps every attribute and operation of C_ScsiTarget except
// "Flash", which answers 1 here (flash only through "DeferFlash").
//
// Controller requests. Every exchange with the controller is one S_Command
// with requestType 2, flags 0x04, a 255-byte sense buffer, addressed by the
// drive's number T on the controller (its C_QarnTargetId), and executed by
// the parent device's ExecuteCommand. CDB bytes not listed are 0; lengths are
// 16-bit, high byte first (doc/ddff-controller-requests.md):
//
//   request        CDB  bytes                                    data
//   write chunk    10   0=27 2=T 3=chunks 4=number 6=36 7-8=len  chunk out
//   read chunk     10   0=26 2=T 3=chunks 4=number 6=26 7-8=len  chunk in
//   sense status   16   0=26 2=T 6=27 7-8=len                     status block in
//   set status     16   0=27 2=T 6=37 8=4                         u32 LE out
//
// A transfer of n bytes in chunks of c bytes is ceil(n / c) requests numbered
// from 1, the last one short; the number and the count are single bytes, so
// a transfer spans at most 255 chunks.
//
// Results of the deferred operations (also of the named ones):
//   0     done.
//   1     DEFER_NOT_DONE: no parent, or the parent is not a device (stop
//         until the driver has attached the drive); a dump file that could
//         not be written (fix the directory, then dump again); "Flash" on
//         this class (use "DeferFlash").
//   2     DEFER_NO_CONTROLLER_ID: the drive has no target id, or one that is
//         not a C_QarnTargetId: it is not behind an array controller. Stop.
//   1025  VEK_STATUS_BAD_ARGUMENT: a bad argument (see each call), among them
//         a transfer of more than 255 chunks (a request too large for the
//         controller); nothing was sent. Stop and fix the call.
//   other the parent's ExecuteCommand code (the driver's), unchanged; the
//         first failing request ends the operation. Requests already sent
//         stay sent: a failed upload is not marked pending, so a caller may
//         upload again.
// None of these throws; exceptions of building the request (C_DDFF, out of
// memory) pass through.
//
// Named operation "DeferFlash" image length request [Name=true ...]:
//   argv[1] image address, argv[2] image length in bytes, argv[3] address of
//   a C_DDFF the caller has filled with its instruction program (numbers and
//   addresses with base detection, pointer-wide). Then named switches
//   "<Name>=<value>": "Debug", "Downgrade", "Reflash", "Fast" (the DDFF_RQ_*
//   request flags), "Cancel" (only cancel, see DeferCancel) and "Dump" (dump
//   the request held by the controller afterwards). A switch is set exactly
//   when its value is the text "true"; any other value ("false", "TRUE",
//   "1", "") leaves it unset and the call goes on. A name given twice: the
//   last one counts. 1025 when argc is below 4, the request address is
//   missing or 0, the image address is 0 with a non-zero length, the length
//   does not fit 32 bits (64-bit hosts), or an argument is not "<Name>=..."
//   with one of the six names. Otherwise the result of DeferFlash with the
//   set switches as its i_arguments bits.
//
// Attributes published by Init, besides those of C_ScsiTarget:
//   "ActiveFirmwareRev"  the firmware revision running now (GetActiveFwRev).
//   "DDFFVer"            the request format version this module writes: the
//                        engine version "0101".
//   "pDDFFVer"           the parent's "DDFFVer" ("" when it has none).
//   "pHasDDFF"           "true" exactly when the parent's "HasDDFF" is
//                        "true", else "false".
//   "HasDDFF"            "true" when "pHasDDFF" is "true" and "pDDFFVer" is
//                        not empty, else "false".
//   From the status block sensed from the controller, only when the sense
//   succeeded and the block's size field is not 0 (a controller holding no
//   request answers 0); otherwise these are absent:
//   "DeferResult"        "loading", "pending", "running", "cancelled",
//                        "success", "error" for the single bits 0x01 to
//                        0x20; any other value as "%X".
//   "OldVersion"         the old ROM revision, 4 characters (up to a zero
//                        byte, padded with spaces: "    " when empty).
//   "RequestTime", "UpdateTime"  "MM/DD/YYYY hh:mm:ss" with the hour
//                        space-padded ("%02d/%02d/%04d %2d:%02d:%02d").
//   With DDFF_STATUS_ERROR set only: "CamStatus", "SenseKey" ("%x"),
//   "SenseASC", "SenseASQ" ("%02x"), "Instruction" (the failing-instruction
//   field, "%X").
//
// Dump file: "<base>_D.dat" in the directory the caller of Dump names ("."
// the current directory, where "DeferFlash" with "Dump=true" writes it),
// where the base is the drive's vendor, product and serial number joined
// with "_" and reduced to the characters A-Z a-z 0-9 . _ -. Opened with
// mode "wb" (created or truncated) once the reads have succeeded, and
// written in place: a write that fails part way leaves a partial file.
//
// Threads: none of its own; one host thread uses a device at a time.
class VEK_API C_DeferScsiTarget : public C_ScsiTarget {
 public:
  // Result codes of the deferred operations (see above).
  static constexpr int DEFER_NOT_DONE = 1;
  static constexpr int DEFER_NO_CONTROLLER_ID = 2;

  // Bits of DeferFlash's i_arguments: the low bits are the DDFF_RQ_* request
  // flags as they go into the request; two higher bits carry the switches
  // that are not request flags.
  static constexpr unsigned int ARG_REQUEST_FLAGS = DDFF::DDFF_RQ_KNOWN;  // 0x0F
  static constexpr unsigned int ARG_CANCEL = 0x100;
  static constexpr unsigned int ARG_DUMP = 0x200;
  static constexpr unsigned int ARG_KNOWN = ARG_REQUEST_FLAGS | ARG_CANCEL | ARG_DUMP;

  // Transfer sizes: the request goes up in chunks of WRITE_CHUNK, a dump
  // reads it back in chunks of READ_CHUNK. A transfer spans at most
  // MAX_CHUNKS chunks of at most MAX_CHUNK_SIZE bytes (the CDB's fields).
  static constexpr std::uint32_t WRITE_CHUNK = 16384;
  static constexpr std::uint32_t READ_CHUNK = 4096;
  static constexpr std::uint32_t MAX_CHUNKS = 255;
  static constexpr std::uint32_t MAX_CHUNK_SIZE = 0xFFFF;

  // Controller-request CDB bytes (see the table above).
  static constexpr std::uint8_t CDB_WRITE = 0x27;          // byte 0: data out
  static constexpr std::uint8_t CDB_READ = 0x26;           // byte 0: data in
  static constexpr std::uint8_t CDB_REQUEST_WRITE = 0x36;  // byte 6
  static constexpr std::uint8_t CDB_REQUEST_READ = 0x26;   // byte 6
  static constexpr std::uint8_t CDB_STATUS_SENSE = 0x27;   // byte 6
  static constexpr std::uint8_t CDB_STATUS_SET = 0x37;     // byte 6
  static constexpr std::uint32_t CONTROLLER_FLAGS = 0x04;

  // Registers "DeferFlash" after the operations of C_ScsiTarget.
  C_DeferScsiTarget();
  ~C_DeferScsiTarget() override;

  // C_ScsiTarget::Init (identify the drive), then publishes the attributes
  // above. Answers what C_ScsiTarget::Init answers (false when the drive was
  // identified); the deferred attributes are published either way.
  bool Init() override;

  // "DeferFlash" (see above).
  virtual int OpDeferFlash(int argc, const char** argv);

  // The deferred flash. i_arguments: ARG_* bits (other bits: 1025).
  //  - ARG_CANCEL: DeferCancel and its result; nothing else is done.
  //  - otherwise i_request (null: 1025) is filled: request flags from the
  //    low bits, the image (i_image, i_length; null with a non-zero length:
  //    1025; not copied, it must stay valid for the call), the drive's vendor
  //    id, product id, firmware revision (also as the old revision of the
  //    status block) and serial number. Its image (GetRequest) is sent in
  //    chunks of WRITE_CHUNK; when every chunk was taken, the status is set
  //    to DDFF_STATUS_PENDING. With ARG_DUMP the request the controller holds
  //    is then dumped (Dump) whatever happened before.
  // Answers the first non-zero result, else 0.
  int DeferFlash(const void* i_image, unsigned int i_length, C_DDFF* i_request,
                 unsigned int i_arguments) override;
  // Cancels a request that has not started: senses the status block; when
  // the status is exactly DDFF_STATUS_PENDING or exactly 0x40 (a value
  // without a DDFF_STATUS_* name, cancellable on purpose), sets
  // DDFF_STATUS_CANCELLED and answers that result. Anything else (loading, running, finished) is
  // left alone with 0. A failed sense, or a block of size 0, means there is
  // nothing known to cancel: 0, and nothing is changed.
  int DeferCancel() override;

  // "Flash" on this class: 1 (DEFER_NOT_DONE) at once, nothing is sent; both
  // the named form and the direct one.
  int Flash(int argc, const char** argv) override;
  int Flash(void* i_image, unsigned int i_size);

  // Reads the request the controller holds and writes it to the dump file:
  // first its 48-byte header (READ_CHUNK chunks); when the signature and the
  // header CRC are right, data offset + data size bytes rounded up to a
  // multiple of 512, which are what the file then holds (a request without
  // data has data offset and size 0: nothing more is read and the file is
  // empty). A header that is not a request is dumped as those 48 bytes. A
  // failed read writes no file and answers its code; a file that cannot be
  // written answers 1; else 0. Requests above MAX_CHUNKS * READ_CHUNK bytes
  // cannot be read back: 1025. The file goes to i_directory ("" is ".").
  int Dump(const std::string& i_directory = ".");
  // The dump file's path for this drive: "<i_directory>/<base>_D.dat".
  std::string GetDumpFileName(const std::string& i_directory = ".");

  // The texts Init publishes from a status block, for a host that senses
  // the block itself (DoSenseDeferredUpdateStatus): "DeferResult" of a
  // status value, "RequestTime" / "UpdateTime" of a time stamp.
  static std::string GetResultText(std::uint32_t i_status);
  static std::string GetTimeText(const S_DDFF_Time& i_time);

  // Controller requests (results as above; 1025 for the argument faults
  // named). The target id and the parent are checked before anything is
  // sent, after the arguments.
  //
  // i_size bytes in ceil(i_size / i_chunk) chunks; the data pointer moves by
  // i_chunk each time. 1025 for a chunk size of 0 or above MAX_CHUNK_SIZE,
  // more than MAX_CHUNKS chunks, or null data with a non-zero size. A size
  // of 0 sends nothing and answers 0 once the checks pass.
  int DoWriteDeferredUpdate(const void* i_data, std::uint32_t i_size, std::uint32_t i_chunk);
  int DoReadDeferredUpdate(void* o_data, std::uint32_t i_size, std::uint32_t i_chunk);
  // Zero-fills i_size bytes at o_status (normally sizeof(S_DDFF_Status)),
  // then reads the status block into them with one sense-status request.
  // 1025 for null or above MAX_CHUNK_SIZE.
  int DoSenseDeferredUpdateStatus(S_DDFF_Status* o_status, std::uint32_t i_size);
  // Sends one set-status request with i_status. The flag is part of the
  // established signature and is not read: every value is sent as given.
  int DoSetDeferredUpdateStatus(std::uint32_t i_status, bool i_unused = false);

 private:
  // The drive's number on the controller and the parent device that
  // executes controller requests: 0, DEFER_NO_CONTROLLER_ID or
  // DEFER_NOT_DONE.
  int FindController(std::uint8_t& o_drive, C_Device*& o_parent) const;
  // Chunked transfer behind DoWrite/DoReadDeferredUpdate.
  int Transfer(std::uint8_t* io_data, std::uint32_t i_size, std::uint32_t i_chunk, bool i_write);
  void PublishDeferAttributes();
  void PublishStatusAttributes();
};

#endif
