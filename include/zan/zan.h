#pragma once

// All of zan in one line, for the programs that use it. `./dev format` writes this list.

#include "zan/base/export.h"
