// Configuration: INI files, references, the environment of programs, the call's parameters.
#pragma once

#include "common/unix/configuration/call_param.h"
#include "common/unix/configuration/environment.h"
#include "common/unix/configuration/ini.h"
#include "common/unix/configuration/ini_change.h"
#include "common/unix/configuration/reference.h"
