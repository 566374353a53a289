// Files, directories, and what this host is and does.
#pragma once

#include "common/unix/files/directory.h"
#include "common/unix/files/file.h"
#include "common/unix/files/file_find.h"
#include "common/unix/files/file_search.h"
#include "common/unix/host/alarm.h"
#include "common/unix/host/host.h"
#include "common/unix/host/performance_file.h"
#include "common/unix/processes/process.h"
