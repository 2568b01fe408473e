#include "device/C_EntityNode.h"

#include "module/E_Status.h"

C_EntityNode::C_EntityNode() : m_parent(nullptr) {}

C_EntityNode::~C_EntityNode() noexcept(false) {
  try {
    for (C_EntityNode*& child : m_children) {
      if (child) {
        C_EntityNode* doomed = child;
        child = nullptr;  // the child's teardown never sees itself listed
        delete doomed;
      }
    }
  } catch (...) {
    // A throwing child ends the walk; the later children are not destroyed,
    // and the node itself is still torn down.
  }
  m_children.clear();
}

int C_EntityNode::SCSIPassThruCommand(Driver::S_Command*, C_Device*) {
  return VEK_STATUS_NOT_SUPPORTED;
}

int C_EntityNode::IdentifyPhysicalDevice(scsi::S_IDPhysicalDevice*, C_Device*) {
  return VEK_STATUS_NOT_SUPPORTED;
}

void C_EntityNode::SetParent(C_EntityNode* i_parent) {
  ClearParent();
  m_parent = i_parent;
  if (m_parent) m_parent->m_children.push_back(this);
}

void C_EntityNode::ClearParent() {
  if (m_parent) m_parent->m_children.remove(this);
  m_parent = nullptr;
}
