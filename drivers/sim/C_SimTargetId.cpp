#include "drivers/sim/C_SimTargetId.h"

C_SimTargetId::~C_SimTargetId() = default;
