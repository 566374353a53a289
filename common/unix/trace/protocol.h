// The operator protocol. PROT and the message language are declared where the lowest layer, which
// must report too, can see them.
#pragma once

#include "common/common/cm_message.h"
