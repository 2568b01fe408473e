#include "device/C_ScsiDevice.h"

C_ScsiDevice::C_ScsiDevice() = default;
C_ScsiDevice::~C_ScsiDevice() = default;
