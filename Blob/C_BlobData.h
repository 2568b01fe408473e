#ifndef VEK_BLOB_C_BLOBDATA_H
#define VEK_BLOB_C_BLOBDATA_H

#include <cstdint>

#include "Blob/C_SmartPtr.h"
#include "foundation/Export.h"

// One heap array of bytes and its length, shared between C_Blob handles
// through a C_SmartPtr<C_BlobData>. The object always owns its array
// (released with array delete); whether the bytes were copied or adopted is
// decided at construction and not remembered. The bytes are not changed
// after construction, so any number of threads may read them.
// Invariant: the array and the length are both set or both empty.
class VEK_API C_BlobData {
 public:
  // Stays empty when i_data is null or i_length is 0 (an array offered for
  // adoption is then not taken). Otherwise, with i_adopt true, takes
  // i_data as its own array: it must come from new[] and belongs to this
  // object from now on. With i_adopt false, copies i_length bytes into a
  // new array; when that cannot be allocated, throws the host's
  // out-of-memory exception (C_Exception::ThrowBadAlloc) naming
  // "Blob/BlobData", i_length and "Blob data".
  C_BlobData(const void* i_data, unsigned i_length, bool i_adopt);
  virtual ~C_BlobData();
  C_BlobData(const C_BlobData&) = delete;
  C_BlobData& operator=(const C_BlobData&) = delete;

  // A new buffer as the constructor above, held by a new owning node;
  // the result has count 1. With i_adopt true the array is owned from the
  // call on: if the buffer or its node cannot be allocated it is freed before
  // std::bad_alloc propagates.
  static C_SmartPtr<C_BlobData> Make(const void* i_data, unsigned i_length, bool i_adopt);

  unsigned GetDataLen() const { return m_length; }
  // Sets o_length and returns the bytes (null when empty); the pointer stays
  // valid while this object lives. No copy is made.
  const unsigned char* GetData(unsigned& o_length) const {
    o_length = m_length;
    return m_data;
  }
  // A private copy: sets o_length to 0, then for a non-empty buffer returns
  // a new[] array of the bytes (the caller frees it with delete[]) and sets
  // o_length. An empty buffer returns null. Allocation failure propagates as
  // std::bad_alloc.
  unsigned char* CopyData(unsigned& o_length) const;

  // Test seam. When a hook is set, the copying constructor asks it before it
  // allocates the byte array; a true answer makes that allocation fail as if
  // the heap were exhausted. Null (the default) restores plain allocation.
  // Process-wide; change it only while no other thread makes buffers.
  using AllocationFailureHook = bool (*)(unsigned i_length);
  static void SetAllocationFailureHook(AllocationFailureHook i_hook);

 private:
  unsigned char* m_data;
  std::uint32_t m_length;
};

extern template class C_ReferenceCounter<C_BlobData>;
extern template class C_NonConstReference<C_BlobData>;
extern template class C_SmartPtr<C_BlobData>;

#endif
