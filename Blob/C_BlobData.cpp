#include "Blob/C_BlobData.h"

#include <atomic>
#include <cstring>
#include <new>

#include "host/C_Exception.h"

template class C_ReferenceCounter<C_BlobData>;
template class C_NonConstReference<C_BlobData>;
template class C_SmartPtr<C_BlobData>;

namespace {

// Atomic so that a test may set it while the library's own threads (none
// today) could be reading it without a data race.
std::atomic<C_BlobData::AllocationFailureHook> s_failureHook{nullptr};

unsigned char* AllocateBytes(unsigned i_length) {
  C_BlobData::AllocationFailureHook hook = s_failureHook.load(std::memory_order_acquire);
  if (hook && hook(i_length)) throw std::bad_alloc();
  return new unsigned char[i_length];
}

}  // namespace

C_BlobData::C_BlobData(const void* i_data, unsigned i_length, bool i_adopt)
    : m_data(nullptr), m_length(0) {
  if (!i_data || i_length == 0) return;
  if (i_adopt) {
    m_data = static_cast<unsigned char*>(const_cast<void*>(i_data));
  } else {
    try {
      m_data = AllocateBytes(i_length);
    } catch (const std::bad_alloc&) {
      // The host wants out-of-memory reported with what was asked for and
      // why, which a bare std::bad_alloc cannot say.
      C_Exception::ThrowBadAlloc("Blob/BlobData", __LINE__, i_length, "Blob data");
    }
    std::memcpy(m_data, i_data, i_length);
  }
  m_length = i_length;
}

C_BlobData::~C_BlobData() {
  delete[] m_data;
  m_data = nullptr;
  m_length = 0;
}

C_SmartPtr<C_BlobData> C_BlobData::Make(const void* i_data, unsigned i_length, bool i_adopt) {
  C_BlobData* buffer;
  try {
    buffer = new C_BlobData(i_data, i_length, i_adopt);
  } catch (...) {
    // An adopted array was handed over with the call; freeing it here keeps
    // the caller from having to guess who owns it after a throw.
    if (i_adopt && i_data && i_length != 0) delete[] static_cast<const unsigned char*>(i_data);
    throw;
  }
  // This constructor deletes the buffer (and so the array) if the node
  // cannot be allocated.
  return C_SmartPtr<C_BlobData>(buffer);
}

unsigned char* C_BlobData::CopyData(unsigned& o_length) const {
  o_length = 0;
  if (!m_data) return nullptr;
  unsigned char* copy = new unsigned char[m_length];
  std::memcpy(copy, m_data, m_length);
  o_length = m_length;
  return copy;
}

void C_BlobData::SetAllocationFailureHook(AllocationFailureHook i_hook) {
  s_failureHook.store(i_hook, std::memory_order_release);
}
