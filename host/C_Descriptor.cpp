#include "host/C_Descriptor.h"

C_Descriptor::C_Descriptor(const std::string& i_name, const std::string& i_key)
    : m_name(i_name), m_key(i_key) {}

C_Descriptor::~C_Descriptor() = default;
