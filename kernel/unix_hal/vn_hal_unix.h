// The Unix layer of the functions.
#pragma once

#include "kernel/unix_hal/absent.h"
#include "kernel/unix_hal/access.h"
#include "kernel/unix_hal/kill.h"
#include "kernel/unix_hal/media_server.h"
#include "kernel/unix_hal/process_listing.h"
#include "kernel/unix_hal/tape.h"
#include "kernel/unix_hal/user_command.h"
