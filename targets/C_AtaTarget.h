#ifndef VEK_TARGETS_C_ATATARGET_H
#define VEK_TARGETS_C_ATATARGET_H

#include <cstdint>
#include <string>

#include "device/C_FirmwareRev.h"
#include "device/C_ProductId.h"
#include "device/C_ScsiDevice.h"
#include "targets/C_MPData.h"
#include "targets/S_Command.h"

// One ATA disk behind an array controller. It offers the same thirteen named
// operations as C_ScsiTarget (same names, order and argument rules; see
// there), speaks ATA through a 12-byte pass-through block that the
// controller driver turns into the task file, and sends every command to the
// parent's ForwardCommand only (never the pass-through route). Every command
// carries a 40-byte sense buffer.
//
// Where it differs from C_ScsiTarget:
//   "Inquiry"        IDENTIFY DEVICE (see Inquiry).
//   "RequestSense", "StartStopUnit", "TestUnitReady", "CmprModePage",
//   "BlinkLeds"      send nothing and answer 0, even without a parent.
//   "WriteBuffer"    DOWNLOAD MICROCODE (see DoWriteBuffer); after a
//                    successful download it waits 15 seconds before
//                    answering 0, so the drive can commit the image.
//   "Flash"          the same sequence as the SCSI target, with
//                    DOWNLOAD MICROCODE for each 32768-byte chunk and no
//                    wait between chunks; since TEST UNIT READY answers 0 at
//                    once, each polling phase is one call.
//   "ModeSelect", "ModeSense", "VendorSpecificCmd", "Reset", "ExecuteCommand"
//                    as the SCSI target, single route.
//
// Results as C_ScsiTarget: 0, 1025 bad arguments, 1029 not attached, or the
// driver's code unchanged. Threads: none; one host thread at a time.
class VEK_API C_AtaTarget : public C_ScsiDevice {
 public:
  // i_controllerId names the controller model; i_driveType is published as
  // "DeviceType" on the two controllers that report it. Both constructors
  // register the thirteen operations.
  C_AtaTarget(const std::string& i_controllerId, int i_driveType);
  // No controller id, drive type 0.
  C_AtaTarget();
  ~C_AtaTarget() override;

  bool FindChildren() override;
  // RequestSense (nothing here), then Inquiry; answers Inquiry's status
  // converted to bool as C_ScsiTarget::Init does (false when identified).
  bool Init() override;
  // A leaf: 1024 for any command.
  int ForwardCommand(Driver::S_Command* i_command, C_Device* i_origin) override;

  // The drive type given at construction.
  unsigned int GetDeviceType() const override { return m_driveType; }
  const std::string& GetVendorId() const override { return m_vendorId; }
  const C_ProductId& GetProductId() const override { return m_productId; }
  const C_FirmwareRev& GetFirmwareRev() const override { return m_firmwareRev; }
  const C_FirmwareRev& GetActiveFwRev() const override { return GetFirmwareRev(); }
  // The parent's ForwardCommand; 1029 without a parent.
  int ExecuteCommand(Driver::S_Command* i_command) override;

  // Stores the revision and republishes "FirmwareRev".
  virtual void SetFirmwareRev(const std::string& i_revision);
  // The cached text when there is one; otherwise the unit serial number page
  // (0x80, flags 0) is read: with page code 0x80 and a non-zero length n,
  // leading blanks are skipped, the run of printable 7-bit characters that
  // follows (ending at the first other character or after n bytes) is
  // taken, trailing blanks are dropped, and what remains is cached when not
  // empty.
  virtual const std::string& GetSerialNumber();

  // "Inquiry" [switch]: IDENTIFY DEVICE (512 bytes, flags 0x04 by the
  // switch). A failure code is returned and nothing changes. Otherwise
  // publishes "pHasDDFF" ("true" exactly when the parent device's "HasDDFF"
  // is "true"), "DeviceType" (the drive type as "%#02lX", only for the
  // controller ids "E0300A57" and "E0100A57"), "VendorId" ("ZQ"),
  // "DeviceId", "ProductId" (model bytes 54-69, trailing blanks removed),
  // "FirmwareRev" (bytes 46-53, trailing blanks removed, then from the fifth
  // character on) and "SerialNumber" (bytes 20-39 as they are). The texts are
  // taken as they lie in the data, without swapping bytes.
  // Throws std::out_of_range when the trimmed revision field is shorter than
  // 4 characters; the attributes published before it stay.
  virtual int Inquiry(int argc, const char** argv);
  virtual int ModeSelect(int argc, const char** argv);
  virtual int ModeSense(int argc, const char** argv);
  virtual int RequestSense(int argc, const char** argv);
  virtual int StartStopUnit(int argc, const char** argv);
  virtual int TestUnitReady(int argc, const char** argv);
  virtual int WriteBuffer(int argc, const char** argv);
  virtual int Flash(int argc, const char** argv);
  virtual int BlinkLeds(int argc, const char** argv);
  virtual int Reset(int argc, const char** argv);
  virtual int CmprModePage(int argc, const char** argv);
  virtual int VendorSpecificCmd(int argc, const char** argv);
  // DOWNLOAD MICROCODE with save of i_length bytes from i_image + i_offset
  // (not copied). The mode is ignored and the offset is not sent: only the
  // data pointer moves. The block carries i_length / 512 and i_length >> 17,
  // low 8 bits each. Single route; 0 or the failing code.
  virtual int DoWriteBuffer(int i_mode, const char* i_image, unsigned int i_offset,
                            unsigned int i_length, unsigned int i_flags);
  // Mode-page data a derived target may keep; this target keeps none: the
  // getter answers an empty pointer and the setter releases what it is given.
  virtual C_SmartPtr<C_MPData> GetMPData();
  virtual void SetMPData(C_SmartPtr<C_MPData> i_data);
  virtual int OpExecuteCommand(int argc, const char** argv);

  // The SCSI target's INQUIRY with EVPD, sent through ExecuteCommand.
  int GetVitalProductData(int i_page, void* o_buffer, unsigned int i_length,
                          unsigned int i_flags);

  unsigned int GetDriveType() const { return m_driveType; }
  std::string GetCtlrId() const { return m_controllerId; }

  // The IDENTIFY DEVICE data of the last Inquiry.
  static constexpr unsigned int IDENTIFY_LENGTH = 512;
  const std::uint8_t* GetIdentifyData() const { return m_identify; }

 private:
  void AddOperations();

  std::string m_vendorId;
  C_ProductId m_productId;
  C_FirmwareRev m_firmwareRev;
  std::string m_serialNumber;
  unsigned int m_driveType;
  std::string m_controllerId;
  std::uint8_t m_identify[IDENTIFY_LENGTH];
};

#endif
