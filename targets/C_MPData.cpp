#include "targets/C_MPData.h"

template class C_ReferenceCounter<C_MPData>;
template class C_NonConstReference<C_MPData>;
template class C_SmartPtr<C_MPData>;

// Out of line so that the vtable and type information live in the library.
C_MPData::~C_MPData() {}
