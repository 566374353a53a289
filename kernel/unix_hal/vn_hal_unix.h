// The Unix layer of the functions: access methods, tape drives, the media server, processes.
#pragma once

#include "kernel/unix_hal/vn_access.h"
#include "kernel/unix_hal/vn_kill.h"
#include "kernel/unix_hal/vn_media_server.h"
#include "kernel/unix_hal/vn_tape.h"
#include "kernel/unix_hal/vn_user_command.h"
