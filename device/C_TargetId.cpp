#include "device/C_TargetId.h"

C_TargetId::~C_TargetId() = default;
