#ifndef VEK_DEVICE_C_DEVICE_H
#define VEK_DEVICE_C_DEVICE_H

#include <map>
#include <memory>
#include <string>

#include "device/C_DeviceId.h"
#include "device/C_EntityNode.h"
#include "module/E_Status.h"

class C_DDFF;
class C_FirmwareRev;
class C_ProductId;
class C_TargetId;

// The entity the host sees: a tree node with named string attributes and
// named operations. Targets register their operations in their constructors
// and fill their attributes when they identify their drive.
//
// Operations take (argc, argv): argv[0] is the operation's own name,
// arguments start at argv[1], argc counts argv[0]. The host passes argv with
// a terminating null entry.
//
// Ownership: the device owns the operation objects in its table (destroyed
// by Cleanup, or by the destructor when Cleanup never ran; one replaced by a
// second registration of its name leaves the table and the device's care,
// see RegisterOperation) but not its target id, which belongs to the driver.
// Threads: no lock guards the tables; one host thread uses a device at a
// time.
class VEK_API C_Device : public C_EntityNode {
 public:
  // A named operation.
  class VEK_API C_DeviceOperation {
   public:
    virtual ~C_DeviceOperation();
    virtual int CallOp(int argc, const char** argv) = 0;
  };

  // Binds a member function of T (virtual members allowed) to a device.
  template <class T>
  class C_Operation : public C_DeviceOperation {
   public:
    typedef int (T::*T_Member)(int, const char**);
    C_Operation(T* i_object, T_Member i_member) : m_object(i_object), m_member(i_member) {}
    int CallOp(int argc, const char** argv) override { return (m_object->*m_member)(argc, argv); }

   private:
    T* m_object;
    T_Member m_member;
  };

  // Name to operation; an entry is empty once Cleanup has destroyed it.
  typedef std::map<std::string, std::unique_ptr<C_DeviceOperation>> T_Operations;
  typedef std::map<std::string, std::string> T_Attributes;

  // Registers "SetTimeout".
  C_Device();
  ~C_Device() override;

  // Delegates to the driver's FindDeviceChildren; false without a driver.
  bool FindChildren() override;
  // (1) destroys the operation objects (names stay listed; no operation may
  // be called afterwards), (2) cleans the children in list order, (3) calls
  // the driver's CleanupDevice for this device.
  void Cleanup() override;
  // The parent's driver; null without a parent.
  C_Driver* GetDriver() const override;

  virtual unsigned int GetDeviceType() const = 0;
  virtual const std::string& GetVendorId() const = 0;
  virtual const C_ProductId& GetProductId() const = 0;
  virtual const C_DeviceId& GetDeviceId() const;
  virtual const C_FirmwareRev& GetFirmwareRev() const = 0;  // on the medium
  virtual const C_FirmwareRev& GetActiveFwRev() const = 0;  // running now
  // Sends one command block (the target's route to its parent).
  virtual int ExecuteCommand(Driver::S_Command* i_command) = 0;
  virtual void SetTargetId(C_TargetId* i_targetId);
  virtual C_TargetId* GetTargetId() const;
  virtual void SetBMICIndex(unsigned char i_index);
  virtual unsigned char GetBMICIndex() const;
  // Deferred flash and cancel; this base answers 1 (not done by this device).
  // i_arguments carries the request flags and the named switches; see the
  // deferred-flash target.
  virtual int DeferFlash(const void* i_image, unsigned int i_length, C_DDFF* i_request,
                         unsigned int i_arguments);
  virtual int DeferCancel();
  virtual void SetOperationTimeout(int i_timeout);
  virtual int GetOperationTimeout() const;

  // Attributes: set or replace.
  void AddAttribute(const std::string& i_name, const std::string& i_value);
  // printf-style; values longer than 50 characters are not supported.
  void AddAttribute(const std::string& i_name, int i_value, const char* i_format);
  void AddAttribute(const std::string& i_name, unsigned int i_value, const char* i_format);
  // Bytes as lowercase hex, each as a blank and a width-2 field padded with
  // blanks: 0x12 0x05 0xab -> " 12  5 ab". No bytes: the empty string.
  void AddAttribute(const std::string& i_name, const void* i_data, unsigned int i_length);
  // The value, or "" for an unknown name.
  std::string GetAttribute(const std::string& i_name) const {
    T_Attributes::const_iterator it = m_attributes.find(i_name);
    return it == m_attributes.end() ? std::string() : it->second;
  }
  // Keeps the name with an empty value; unknown names are ignored.
  void ClearAttribute(const std::string& i_name);
  void RemoveAttribute(const std::string& i_name);

  // Calls the named operation with argc and argv unchanged; 1024 for an
  // unknown name (or one whose operation Cleanup has destroyed).
  int CallOperation(const std::string& i_name, int argc, const char** argv) {
    T_Operations::const_iterator it = m_operations.find(i_name);
    if (it == m_operations.end() || !it->second) return VEK_STATUS_UNKNOWN_OPERATION;
    return it->second->CallOp(argc, argv);
  }

  const T_Attributes& GetAttributes() const { return m_attributes; }
  const T_Operations& GetOperations() const { return m_operations; }

 protected:
  // Binds i_name to i_member of i_object (a new operation object, owned by
  // the device). A name registered again takes the new operation, and the
  // earlier object is NOT destroyed, now or later: the device no longer owns
  // it, and whoever registers over a name deletes the earlier object
  // (GetOperations gives it first) if it must go.
  template <class T>
  void RegisterOperation(const std::string& i_name, T* i_object,
                         typename C_Operation<T>::T_Member i_member) {
    AddOperation(i_name, std::unique_ptr<C_DeviceOperation>(new C_Operation<T>(i_object, i_member)));
  }
  void AddOperation(const std::string& i_name, std::unique_ptr<C_DeviceOperation> i_operation);
  void SetDeviceId(const C_DeviceId& i_id) { m_deviceId = i_id; }

  // "SetTimeout": argv[1] parsed with base detection; negative: 1025.
  int OpSetTimeout(int argc, const char** argv);

 private:
  T_Operations m_operations;
  T_Attributes m_attributes;
  C_TargetId* m_targetId;
  C_DeviceId m_deviceId;
  int m_operationTimeout;
  unsigned char m_bmicIndex;
};

#endif
