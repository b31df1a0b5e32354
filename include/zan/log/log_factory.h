#pragma once

// logger_factory is declared with the report functions, which stand below the logger; whoever wants
// to log includes this header.
#include "zan/base/report.h"
#include "zan/log/log_logger.h"
