#ifndef VEK_DRIVERS_TEST_C_SCRIPTEDDRIVER_H
#define VEK_DRIVERS_TEST_C_SCRIPTEDDRIVER_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "module/C_Driver.h"
#include "targets/S_Command.h"

class C_EntityNode;
class C_TargetId;

// The fake at the driver boundary: a C_Driver that records every command
// block reaching it and answers from a script. Tests build a tree with
// Attach, run module code against it, and assert the recorded bytes.
//
//   C_ScriptedDriver* driver = new C_ScriptedDriver;   // the root owns it
//   root.SetDriver(driver);
//   driver->Attach(&root, target, new C_QarnTargetId("array0", 2));
//   driver->Reply(C_ScriptedDriver::Opcode(0x12), C_ScriptedDriver::Data(inquiry));
//   ... driver->Commands()[0].cdb ...
//
// Replies: rules are tried in the order added; the first whose matcher
// accepts the command and that has uses left answers it (a use is counted).
// Without a matching rule the command succeeds with nothing transferred
// beyond what the module asked (dataLength unchanged, buffers untouched).
class C_ScriptedDriver : public C_Driver {
 public:
  // Which path the command took to reach the recorder.
  enum E_Route { ROUTE_FORWARD, ROUTE_PASSTHRU };

  // One recorded command block: copies of its bytes and every field.
  struct S_Recorded {
    E_Route route = ROUTE_FORWARD;
    C_Device* device = nullptr;               // the origin passed up the tree
    std::vector<std::uint8_t> cdb;            // cdbLength bytes
    std::uint8_t cdbLength = 0;
    const std::uint8_t* dataBuffer = nullptr; // the pointer as sent
    std::uint32_t dataLength = 0;             // as sent
    std::vector<std::uint8_t> dataOut;        // copy of outgoing data (direction 0)
    const std::uint8_t* senseBuffer = nullptr;
    std::uint32_t senseLength = 0;
    std::uint32_t flags = 0;
    std::uint8_t direction = 0;
    std::uint32_t requestType = 0;
    std::uint8_t Opcode() const { return cdb.empty() ? 0xFF : cdb[0]; }
  };

  // How to answer. Data is copied into the command's buffer (at most
  // dataLength bytes) and dataLength becomes the bytes copied; sense is
  // copied into the sense buffer; a handler, when set, does everything and
  // its result is the status.
  struct S_Reply {
    int status = 0;
    bool hasData = false;
    std::vector<std::uint8_t> data;
    std::vector<std::uint8_t> sense;
    std::function<int(Driver::S_Command&, const S_Recorded&)> handler;
  };

  typedef std::function<bool(const S_Recorded&)> T_Matcher;

  C_ScriptedDriver();
  ~C_ScriptedDriver() override;

  // --- tree building ---------------------------------------------------
  // Attaches i_device below i_parent and gives it i_targetId (owned by the
  // driver from now on, freed in CleanupDevice). Calls Init when asked.
  void Attach(C_EntityNode* i_parent, C_Device* i_device, C_TargetId* i_targetId,
              bool i_init = false);
  // Called by FindRootChildren and FindDeviceChildren with the node.
  void OnDiscover(std::function<void(C_EntityNode*)> i_hook) { m_discover = i_hook; }

  // --- script ----------------------------------------------------------
  // i_times < 0: without limit.
  void Reply(T_Matcher i_match, S_Reply i_reply, int i_times = -1);
  void ClearScript() { m_rules.clear(); }
  // Copies outgoing data into the record (on by default).
  void SetRecordData(bool i_record) { m_recordData = i_record; }

  static T_Matcher Any();
  static T_Matcher Opcode(std::uint8_t i_opcode);
  static T_Matcher Opcode(std::uint8_t i_opcode, E_Route i_route);
  static S_Reply Status(int i_status);
  static S_Reply Data(const std::vector<std::uint8_t>& i_data, int i_status = 0);
  static S_Reply Sense(int i_status, const std::vector<std::uint8_t>& i_sense);
  static S_Reply Handler(std::function<int(Driver::S_Command&, const S_Recorded&)> i_handler);

  // --- what happened -----------------------------------------------------
  const std::vector<S_Recorded>& Commands() const { return m_commands; }
  void ClearCommands() { m_commands.clear(); }
  int InitCalls() const { return m_initCalls; }
  int CleanupCalls() const { return m_cleanupCalls; }
  int DiscoverCalls() const { return m_discoverCalls; }
  const std::vector<C_Device*>& CleanedDevices() const { return m_cleaned; }

  // Records and answers one command; the scripted parent routes use it too.
  int Perform(Driver::S_Command* i_command, C_Device* i_device, E_Route i_route);

  // --- C_Driver ----------------------------------------------------------
  bool Init() override;
  void CleanupDevice(C_Device* i_device) override;
  void Cleanup() override;
  int ForwardCommand(Driver::S_Command* i_command, C_Device* i_device) override;
  bool FindRootChildren(C_Root* i_root) override;
  bool FindDeviceChildren(C_Device* i_device) override;

 private:
  struct S_Rule {
    T_Matcher match;
    S_Reply reply;
    int times;
  };

  std::vector<S_Rule> m_rules;
  std::vector<S_Recorded> m_commands;
  std::vector<C_Device*> m_cleaned;
  std::function<void(C_EntityNode*)> m_discover;
  bool m_recordData = true;
  int m_initCalls = 0;
  int m_cleanupCalls = 0;
  int m_discoverCalls = 0;
};

#endif
