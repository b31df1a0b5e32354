#pragma once

// Everything about threads and locks in one include.
#include "zan/mt/containers.h"
#include "zan/mt/handle.h"
#include "zan/mt/mutex.h"
#include "zan/mt/shared.h"
#include "zan/mt/thread.h"
#include "zan/mt/threadexception.h"
