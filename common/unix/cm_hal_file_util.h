// Directory listing and the wildcard iterator.
#pragma once

#include "common/common/strlib.h"
#include "common/unix/listing/entry.h"
#include "common/unix/listing/show_tree.h"
#include "common/unix/listing/wildcard.h"
