#include "module/C_VekEnumContext.h"

#include "device/C_Device.h"

C_VekEnumContext::C_VekEnumContext(C_EntityNode* i_node)
    : m_node(i_node), m_next(i_node->ChildrenBegin()) {}

C_VekEnumContext::~C_VekEnumContext() = default;

C_Device* C_VekEnumContext::GetNext() {
  if (m_next == m_node->ChildrenEnd()) return nullptr;
  C_EntityNode* child = *m_next;
  ++m_next;
  return child ? dynamic_cast<C_Device*>(child) : nullptr;
}
