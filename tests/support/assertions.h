#pragma once

// In a build that ends the process at a failed assertion, a test that provokes one stops here.
#if defined(_ZAN_ASSERT_ABORT_ON) && !defined(NDEBUG)
#define SKIP_WHERE_ASSERTIONS_ABORT() GTEST_SKIP() << "this build ends at a failed assertion"
#else
#define SKIP_WHERE_ASSERTIONS_ABORT() static_cast<void>(0)
#endif
