#ifndef VEK_TARGETS_C_SCSITARGET_H
#define VEK_TARGETS_C_SCSITARGET_H

#include <cstdint>
#include <string>

#include "device/C_FirmwareRev.h"
#include "device/C_ProductId.h"
#include "device/C_ScsiDevice.h"
#include "targets/C_MPData.h"
#include "targets/S_Command.h"

// One SCSI disk below a controller. The driver creates it, attaches it with
// SetParent, gives it its target id and calls Init, which identifies the
// drive. The host then reads its attributes and calls its named operations.
//
// Attributes: "DeviceType", "VendorId", "DeviceId", "ProductId",
// "FirmwareRev", "SerialNumber" (only when the drive has one) from Inquiry;
// "$SenseData" from RequestSense.
//
// Named operations (argv[0] is the name; numbers are parsed with base
// detection: 0x hexadecimal, leading 0 octal; addresses travel as numbers
// and are used as pointers into the host's memory, which must stay valid for
// the call). "The switch" means: argv[1] absent or 0 adds request flag 0x04;
// a non-zero argv[1] leaves it clear. Every command goes up the tree: the
// two-route ones try the parent's SCSIPassThruCommand first and, when that
// fails, its ForwardCommand; the single-route ones use ForwardCommand only.
//
//   "ExecuteCommand" addr       a host-built S_Command, sent as is (single
//                               route). 1025 without the address.
//   "Inquiry" [switch]          identify the drive (see Inquiry).
//   "ModeSelect" switch page form ...
//                               sense the page, change it, MODE SELECT(6)
//                               with save (see ModeSelect).
//   "ModeSense" switch page     MODE SENSE(6); exactly these two arguments.
//                               The data is not kept: the code is the answer.
//   "RequestSense" [switch]     publishes "$SenseData" (see RequestSense).
//   "StartStopUnit" switch start [immediate]
//                               START STOP UNIT, byte 4 = start, byte 1 =
//                               immediate (0 when absent). Two-route.
//   "TestUnitReady"             TEST UNIT READY, flags always 0. Two-route.
//   "WriteBuffer" mode image offset length [flags]
//                               one WRITE BUFFER (see DoWriteBuffer); flags
//                               default to 0x04.
//   "Flash" length image        direct firmware download (see Flash).
//   "Reset" [kind]              the reset control request (kind default 1),
//                               single route.
//   "CmprModePage" switch page offset count value...
//                               compares page bytes (see CmprModePage).
//   "VendorSpecificCmd" flags cdbLength cdb phase [dataLength data]
//                               any command block (see VendorSpecificCmd).
//   "BlinkLeds" [duration]      the parent's "BlinkDriveLeds" for this drive.
//
// Results: 0 success; 1025 (VEK_STATUS_BAD_ARGUMENT) wrong argument count
// or argument, checked before the parent unless said otherwise; 1029
// (VEK_STATUS_NO_PARENT) not attached, nothing sent; any other code is the
// driver's, unchanged (1036 from TEST UNIT READY means busy). Nothing is
// retried: a caller decides whether to repeat a command.
//
// Derived targets (the deferred-flash target) override operations by
// overriding the virtual members; the name table dispatches to them, and
// Flash calls its steps through them.
//
// Threads: none of its own; the host uses one device from one thread at a
// time.
class VEK_API C_ScsiTarget : public C_ScsiDevice {
 public:
  // Registers the thirteen operations above, in the order listed.
  C_ScsiTarget();
  ~C_ScsiTarget() override;

  // False: a target has no children.
  bool FindChildren() override;
  // RequestSense (clears a pending unit attention; its result is ignored),
  // then Inquiry. Answers Inquiry's status converted to bool, as drivers of
  // this interface expect: false when the drive was identified (status 0),
  // true when Inquiry failed.
  bool Init() override;
  // A target is a leaf: 1024 (VEK_STATUS_UNKNOWN_OPERATION) for any command.
  int ForwardCommand(Driver::S_Command* i_command, C_Device* i_origin) override;

  // 0 after every successful Inquiry.
  unsigned int GetDeviceType() const override { return m_deviceType; }
  const std::string& GetVendorId() const override { return m_vendorId; }
  const C_ProductId& GetProductId() const override { return m_productId; }
  const C_FirmwareRev& GetFirmwareRev() const override { return m_firmwareRev; }
  // The revision running now is the one on the medium for this class.
  const C_FirmwareRev& GetActiveFwRev() const override { return GetFirmwareRev(); }
  // The parent's ForwardCommand with this target as origin; 1029 without a
  // parent.
  int ExecuteCommand(Driver::S_Command* i_command) override;

  // Stores the revision and republishes "FirmwareRev".
  virtual void SetFirmwareRev(const std::string& i_revision);
  // The serial number: the cached text when there is one; otherwise the unit
  // serial number page (0x80, flags 0) is read, and when it answers with page
  // code 0x80 and a non-zero length n, the n bytes after the header become
  // the cached text exactly as returned (cut at the 255-byte buffer). A
  // failed read leaves it empty, so the next call reads again.
  virtual const std::string& GetSerialNumber();

  // "Inquiry": standard INQUIRY (56 bytes, flags 0x40 plus the switch).
  // When both routes fail, the parent's IdentifyPhysicalDevice is asked; its
  // failure code (1027 when not offered) is the result and no attribute
  // changes. Otherwise publishes, in this order: "DeviceType" (0, as
  // "%#02lX"), "VendorId" (bytes 8-15), "DeviceId" (the driver's id for this
  // device; kept unchanged without a driver), "ProductId" (16-31),
  // "FirmwareRev" (32-35), each with trailing blanks (0x20 only) removed,
  // and "SerialNumber" from the fallback's 40 characters or GetSerialNumber,
  // when not empty.
  virtual int Inquiry(int argc, const char** argv);
  // "ModeSelect": argc at least 4. Senses page argv[2] (MODE SENSE(6) with
  // the switch); a page of length 0 answers 0 and nothing more is sent.
  // Then argv[3] selects the form:
  //  - 255, whole page: argv[4] page code, argv[5] new page length L, then
  //    argv[6]... the page bytes, at most L + 1 of them;
  //  - -1 or more, edit triples from argv[3] on: (offset, op, value), offset
  //    counted from the page code byte; op 1 ORs the value in, op 0 clears
  //    its bits, op 2 stores it. An offset outside the buffer answers 1025.
  //    WARNING: any other op repeats the same triple without end and the
  //    call never returns. Send only ops 0, 1 and 2.
  //  - below -1: 1025.
  // MODE SELECT(6) (page format, save pages) then sends page length + 14
  // bytes with the page code of argv[2]; its code is the result.
  virtual int ModeSelect(int argc, const char** argv);
  // "ModeSense": argc exactly 3, else 1025 even with a parent.
  virtual int ModeSense(int argc, const char** argv);
  // "RequestSense": REQUEST SENSE into a 255-byte buffer, the switch. Fixed
  // format data (byte 0 0x70 or 0x71) or byte 0 0x7F is stored as the byte
  // attribute "$SenseData": when more than 11 bytes came back, at most
  // byte 12 + 7 bytes (18 when byte 12 is 0). Other data, or none, is
  // ignored with 0.
  virtual int RequestSense(int argc, const char** argv);
  virtual int StartStopUnit(int argc, const char** argv);
  virtual int TestUnitReady(int argc, const char** argv);
  // "WriteBuffer": argv[1] mode, argv[2] image address, argv[3] offset,
  // argv[4] length, argv[5] flags (0x04 when argc is below 6); the first four
  // are read without a count check (missing ones read as 0). 1025 for a
  // negative offset or length or a null image with a non-zero length.
  virtual int WriteBuffer(int argc, const char** argv);
  // "Flash": argv[1] image length, argv[2] image address. Sends the image in
  // 32768-byte chunks with DoWriteBuffer (mode 7, flags 0x04); the first
  // failing chunk ends the call with its code (chunks sent stay sent, no
  // reset). Then: TEST UNIT READY while it answers 1036, at most 999 times
  // with 100 ms between; Reset (kind 1); the same polling again; Inquiry
  // (refreshes "FirmwareRev"); StartStopUnit start, immediate, flag 0x04.
  // Answers 0 once every chunk was taken, whatever these steps answer; a
  // drive that stays busy is not an error. 1025 for a negative length or a
  // null image with a non-zero length.
  virtual int Flash(int argc, const char** argv);
  // "BlinkLeds": 1025 when the parent is not a device. Reads this target's
  // SCSI address, then calls the parent's "BlinkDriveLeds" with argv[1] (or
  // "0") and address bytes 0 and 1 in decimal; its code is the result.
  virtual int BlinkLeds(int argc, const char** argv);
  virtual int Reset(int argc, const char** argv);
  // "CmprModePage": argc at least 5. argv[1] switch, argv[2] page, argv[3]
  // offset o, argv[4] count n, argv[5]... expected values. Senses the page
  // (a failure code is returned as is), raises n to the page length, and
  // compares value k with page byte o + 2 + k. Answers 2000
  // (VEK_STATUS_COMPARED) plus the number of differing bytes; tell these
  // from failures by range. Pass at least max(n, page length) values:
  // missing ones count as 0. A byte outside the buffer answers 1025.
  virtual int CmprModePage(int argc, const char** argv);
  // "VendorSpecificCmd": argc at least 5, then the parent. argv[1] request
  // flags (low 8 bits; bit 0x01 adds 0x04), argv[2] block length (above 5;
  // the command's 8-bit length field takes its low 8 bits, so 266 sends a
  // 10-byte block and 256 an empty one), argv[3] block address (non-null),
  // argv[4] data phase (0 none, 1 in, 2 out). Phases 1 and 2 need argc at least 7: argv[5] data length
  // and argv[6] data address, both non-zero. Any rule broken: 1025.
  // Two-route.
  virtual int VendorSpecificCmd(int argc, const char** argv);
  // One WRITE BUFFER: mode (low 4 bits), buffer offset and transfer length
  // as 24-bit fields, data from i_image + i_offset (not copied), two-route.
  // Offsets and lengths of 16 MiB and above keep their low 24 bits in the
  // block. 0 or the failing code; 1029 without a parent.
  virtual int DoWriteBuffer(int i_mode, const char* i_image, unsigned int i_offset,
                            unsigned int i_length, unsigned int i_flags);
  // Mode-page data a derived target may keep; this target keeps none: the
  // getter answers an empty pointer and the setter releases what it is given.
  virtual C_SmartPtr<C_MPData> GetMPData();
  virtual void SetMPData(C_SmartPtr<C_MPData> i_data);
  // "ExecuteCommand" (see above).
  virtual int OpExecuteCommand(int argc, const char** argv);

  // INQUIRY with EVPD for page i_page: i_length bytes of o_buffer are
  // zero-filled and offered (the block's allocation length is the low 8 bits
  // of i_length); the caller's flags; two-route.
  int GetVitalProductData(int i_page, void* o_buffer, unsigned int i_length,
                          unsigned int i_flags);
  // The address control request, straight to the parent's ForwardCommand:
  // 1029 without a parent, 1025 when the parent is not a device; otherwise
  // the parent's code and whatever it wrote into the zero-filled record.
  int GetScsiAddress(scsi::S_Address* o_address);

  // The standard INQUIRY data of the last Inquiry (zero after a failed one).
  static constexpr unsigned int INQUIRY_LENGTH = 56;
  const std::uint8_t* GetInquiryData() const { return m_inquiry; }

 private:
  unsigned int m_deviceType;
  std::string m_vendorId;
  C_ProductId m_productId;
  C_FirmwareRev m_firmwareRev;
  std::string m_serialNumber;
  std::uint8_t m_inquiry[INQUIRY_LENGTH];
};

#endif
