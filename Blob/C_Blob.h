#ifndef VEK_BLOB_C_BLOB_H
#define VEK_BLOB_C_BLOB_H

#include "Blob/C_BlobData.h"
#include "Blob/C_SmartPtr.h"
#include "foundation/Export.h"

// A cheap handle to a shared, immutable byte buffer (firmware images, pages
// of drive data, request files). Copying or assigning a blob shares the
// buffer and copies no bytes; only the copying SetData, CopyData and
// CloneDeep copy bytes. A blob is either empty or refers to a buffer of at
// least one byte.
//
// Threading: distinct handles that share one buffer may be copied, assigned
// and destroyed on different threads at once, and the bytes read from any
// of them. One handle must not be changed by two threads at once.
class VEK_API C_Blob {
 public:
  C_Blob() {}
  // As SetData(i_data, i_length, i_adopt).
  C_Blob(const void* i_data, unsigned i_length, bool i_adopt);
  // Shares i_other's buffer.
  C_Blob(const C_Blob& i_other) : m_data(i_other.m_data) {}
  // Calls the virtual SetData(const C_Blob&).
  C_Blob& operator=(const C_Blob& i_other);
  virtual ~C_Blob();

  // First drops the present reference (as ClearData), then gives the blob a
  // new buffer of i_length bytes from i_data, copied or, with i_adopt true,
  // adopted (the array must come from new[]; it belongs to the buffer from
  // the call on, even if this throws). A null i_data or a zero i_length
  // leaves the blob empty, and an array offered for adoption is then not
  // taken. Throws as C_BlobData::Make; the blob is then empty. Exception:
  // when i_data points into this blob's own bytes the new buffer is made
  // before the old reference is dropped (so the bytes are alive while they
  // are copied), and a throw leaves the blob as it was.
  virtual void SetData(const void* i_data, unsigned i_length, bool i_adopt);
  // Shares i_other's buffer, releasing the present one; nothing changes when
  // both already share one buffer. An empty i_other empties the blob.
  virtual void SetData(const C_Blob& i_other);

  // Drops the reference; the blob is empty afterwards.
  void ClearData() { m_data.Release(); }
  bool HasData() const { return !m_data.IsNull(); }
  // 0 for an empty blob.
  unsigned GetDataLen() const { return HasData() ? m_data->GetDataLen() : 0; }
  // The shared bytes (valid while any handle holds the buffer), with their
  // count in o_length. An empty blob returns null and leaves o_length as
  // it was.
  const unsigned char* GetData(unsigned& o_length) const;
  // A private new[] copy of the bytes that the caller frees with delete[],
  // with its size in o_length. An empty blob returns null and leaves
  // o_length as it was.
  unsigned char* CopyData(unsigned& o_length) const;

  // A new heap blob that shares this blob's buffer.
  C_SmartPtr<C_Blob> Clone() const;
  // A new heap blob with a private copy of the bytes: later changes of
  // either blob never show in the other.
  C_SmartPtr<C_Blob> CloneDeep() const;

  // The shared buffer, for identity and count checks; empty when the blob is.
  const C_SmartPtr<C_BlobData>& GetSharedData() const { return m_data; }

 private:
  C_SmartPtr<C_BlobData> m_data;
};

extern template class C_ReferenceCounter<C_Blob>;
extern template class C_NonConstReference<C_Blob>;
extern template class C_SmartPtr<C_Blob>;

#endif
