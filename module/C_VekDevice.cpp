#include "module/C_VekDevice.h"

C_VekDevice::~C_VekDevice() = default;
