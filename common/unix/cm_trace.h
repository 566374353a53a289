// The trace, the operator protocol and the time stamps of both.
#pragma once

#include "common/unix/trace/protocol.h"
#include "common/unix/trace/record.h"
#include "common/unix/trace/time_text.h"
#include "common/unix/trace/trace.h"
