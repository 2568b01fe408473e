#ifndef VEK_DEVICE_C_ENTITYNODE_H
#define VEK_DEVICE_C_ENTITYNODE_H

#include <list>

#include "foundation/Export.h"

class C_Device;
class C_Driver;
namespace Driver {
struct S_Command;
}
namespace scsi {
struct S_IDPhysicalDevice;
}

// A node of the device tree: the root, controllers and drive targets.
//
// Ownership: a node owns every child in its list. A node becomes a child only
// through SetParent, and from then on its parent destroys it. The destructor
// destroys the children in list order (each entry is nulled before its child
// is destroyed); when a child's destructor throws, the exception is dropped
// and the later children are not destroyed. The destructor does not detach
// the node from its own parent: call ClearParent first, or let the parent
// destroy it.
//
// Threads: none; the host builds and changes the tree from one thread.
class VEK_API C_EntityNode {
 public:
  typedef std::list<C_EntityNode*> T_Children;

  C_EntityNode();
  // noexcept(false): a derived node's destructor may throw; see above.
  virtual ~C_EntityNode() noexcept(false);
  C_EntityNode(const C_EntityNode&) = delete;
  C_EntityNode& operator=(const C_EntityNode&) = delete;

  // Refreshes the child list (the driver discovers and attaches children).
  virtual bool FindChildren() = 0;
  virtual bool Init() = 0;
  virtual void Cleanup() = 0;
  virtual C_Driver* GetDriver() const = 0;
  // Passes a command block on towards the driver; 0 is success.
  virtual int ForwardCommand(Driver::S_Command* i_command, C_Device* i_origin) = 0;
  // The direct route a parent may offer; this default answers 1027 (not offered).
  virtual int SCSIPassThruCommand(Driver::S_Command* i_command, C_Device* i_origin);
  // Identity fallback for INQUIRY; this default answers 1027 (not offered).
  virtual int IdentifyPhysicalDevice(scsi::S_IDPhysicalDevice* o_identity, C_Device* i_origin);

  C_EntityNode* GetParent() const { return m_parent; }
  bool HasParent() const { return m_parent != nullptr; }
  bool HasChildren() const { return !m_children.empty(); }
  T_Children::iterator ChildrenBegin() { return m_children.begin(); }
  T_Children::iterator ChildrenEnd() { return m_children.end(); }

  // Detaches from the current parent, then appends this node to the end of
  // i_parent's child list (null: just detach).
  void SetParent(C_EntityNode* i_parent);
  // Removes every entry equal to this node from the parent's list.
  void ClearParent();

 private:
  C_EntityNode* m_parent;
  T_Children m_children;
};

#endif
