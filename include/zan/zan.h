#pragma once

// All of zan in one line, for the programs that use it. `./dev format` writes this list.

#include "zan/base/base_type.h"
#include "zan/base/base_type_bytes.h"
#include "zan/base/base_type_string.h"
#include "zan/base/base_type_time.h"
#include "zan/base/base_type_view.h"
#include "zan/base/call_stack.h"
#include "zan/base/cstr.h"
#include "zan/base/exception.h"
#include "zan/base/export.h"
#include "zan/base/mlcheck.h"
#include "zan/base/report.h"
#include "zan/base/source_place.h"
#include "zan/base/startstop.h"
#include "zan/base/version.h"

#include "zan/string/string_charray.h"
#include "zan/string/string_octets.h"

#include "zan/mt/containers.h"
#include "zan/mt/handle.h"
#include "zan/mt/mutex.h"
#include "zan/mt/shared.h"
#include "zan/mt/thread.h"
#include "zan/mt/threadexception.h"
#include "zan/mt/threadutil.h"

#include "zan/util/cmdline.h"
#include "zan/util/singleton_t.h"
#include "zan/util/uow.h"

#include "zan/log/console.h"
#include "zan/log/log_dumper.h"
#include "zan/log/log_factory.h"
#include "zan/log/log_logger.h"
#include "zan/log/log_tracer.h"
