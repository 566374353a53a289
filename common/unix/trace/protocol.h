// The operator protocol, product-wide: opened for every event and closed again, as the trace is.
// PROT and the message language are declared where the lowest layer, which must report too, can see
// them.
#pragma once

#include "common/common/cm_message.h"
