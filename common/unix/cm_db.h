// The backup server's catalogue.
#pragma once

#include "common/unix/database/access.h"
#include "common/unix/database/date.h"
#include "common/unix/database/record_list.h"
#include "common/unix/database/rows.h"
#include "common/unix/database/statement.h"
