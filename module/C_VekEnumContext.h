#ifndef VEK_MODULE_C_VEKENUMCONTEXT_H
#define VEK_MODULE_C_VEKENUMCONTEXT_H

#include "device/C_EntityNode.h"

// The enumeration cursor over one node's children, handed to the host by
// VekExport::StartEnum and freed by VekExport::CloseEnum.
class VEK_API C_VekEnumContext {
 public:
  explicit C_VekEnumContext(C_EntityNode* i_node);
  virtual ~C_VekEnumContext();
  C_VekEnumContext(const C_VekEnumContext&) = delete;
  C_VekEnumContext& operator=(const C_VekEnumContext&) = delete;

  // The next child as a device, or null at the end. A child that is not a
  // device also yields null while the cursor moves past it: the host takes
  // that as the end, and a further call goes on with the following child.
  C_Device* GetNext();
  C_EntityNode* GetEntityNode() const { return m_node; }

 private:
  C_EntityNode* m_node;
  C_EntityNode::T_Children::iterator m_next;
};

#endif
