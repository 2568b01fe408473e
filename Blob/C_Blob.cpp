#include "Blob/C_Blob.h"

#include <functional>

template class C_ReferenceCounter<C_Blob>;
template class C_NonConstReference<C_Blob>;
template class C_SmartPtr<C_Blob>;

C_Blob::C_Blob(const void* i_data, unsigned i_length, bool i_adopt) {
  C_Blob::SetData(i_data, i_length, i_adopt);
}

C_Blob& C_Blob::operator=(const C_Blob& i_other) {
  SetData(i_other);
  return *this;
}

C_Blob::~C_Blob() {}

void C_Blob::SetData(const void* i_data, unsigned i_length, bool i_adopt) {
  if (!i_data || i_length == 0) {
    ClearData();
    return;
  }
  // The old reference goes first. The one exception is data that lies in
  // this blob's own buffer: releasing that first could free the bytes about
  // to be copied, so the new buffer is made before the old one goes.
  unsigned ownLength = 0;
  const unsigned char* own = GetData(ownLength);
  const unsigned char* data = static_cast<const unsigned char*>(i_data);
  if (own && std::less_equal<const unsigned char*>()(own, data) &&
      std::less<const unsigned char*>()(data, own + ownLength)) {
    C_SmartPtr<C_BlobData> fresh = C_BlobData::Make(i_data, i_length, i_adopt);
    m_data = fresh;
    return;
  }
  ClearData();
  m_data = C_BlobData::Make(i_data, i_length, i_adopt);
}

void C_Blob::SetData(const C_Blob& i_other) {
  // The smart pointer's assignment already does nothing for a shared buffer.
  m_data = i_other.m_data;
}

const unsigned char* C_Blob::GetData(unsigned& o_length) const {
  return HasData() ? m_data->GetData(o_length) : nullptr;
}

unsigned char* C_Blob::CopyData(unsigned& o_length) const {
  return HasData() ? m_data->CopyData(o_length) : nullptr;
}

C_SmartPtr<C_Blob> C_Blob::Clone() const { return C_SmartPtr<C_Blob>(new C_Blob(*this)); }

C_SmartPtr<C_Blob> C_Blob::CloneDeep() const {
  C_SmartPtr<C_Blob> clone = Clone();
  if (clone->HasData() && HasData()) {
    unsigned length = 0;
    unsigned char* copy = CopyData(length);
    // Adopted: the private bytes are copied once, here, not again by SetData.
    clone->SetData(copy, length, true);
  }
  return clone;
}
