// Named semaphores.
#pragma once

#include "common/unix/processes/semaphore.h"
