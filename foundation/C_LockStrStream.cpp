#include "foundation/C_LockStrStream.h"

C_LockStrStream* C_LockStrStream::sm_pInstance = nullptr;

namespace {
// Created when the library is loaded, so that no two threads create it.
const C_LockStrStream* const g_created = C_LockStrStream::GetInstance();
}  // namespace

C_LockStrStream* C_LockStrStream::GetInstance() {
  if (!sm_pInstance) sm_pInstance = new C_LockStrStream;  // lives until exit
  return sm_pInstance;
}

struct C_LockStrStream::C_Lock::S_Record {
  C_LockStrStream* locked;
};

C_LockStrStream::C_Lock::C_Lock() : m_record(nullptr) {
  C_LockStrStream* instance = GetInstance();
  if (instance) {
    m_record = new S_Record{instance};
    instance->Enter();
  }
}

C_LockStrStream::C_Lock::~C_Lock() {
  if (m_record) {
    m_record->locked->Leave();
    delete m_record;
  }
}
