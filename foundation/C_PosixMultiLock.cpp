#include "foundation/C_PosixMultiLock.h"

C_PosixMultiLock::C_PosixMultiLock() : m_readers(0) { m_noReaders.Set(); }

C_PosixMultiLock::~C_PosixMultiLock() = default;

void C_PosixMultiLock::GetLock(E_LockType i_type) const {
  if (i_type == SHARED) {
    m_writerLock.Enter();
    m_countLock.Enter();
    ++m_readers;
    m_noReaders.Clear();
    m_countLock.Leave();
    m_writerLock.Leave();
  } else if (i_type == EXCLUSIVE) {
    m_writerLock.Enter();
    m_noReaders.Wait(C_PosixEvent::INFINITE_WAIT);
  }
}

void C_PosixMultiLock::ReleaseLock(E_LockType i_type) const {
  if (i_type == SHARED) {
    m_countLock.Enter();
    if (m_readers-- == 1) m_noReaders.Set();
    m_countLock.Leave();
  } else if (i_type == EXCLUSIVE) {
    m_writerLock.Leave();
  }
}
