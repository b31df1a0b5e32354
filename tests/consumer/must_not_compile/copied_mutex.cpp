// A lock has one place in memory.
// error: deleted function
// error: deleted constructor
// error: implicitly-deleted copy constructor
#include "zan/mt/mutex.h"

zan::Mutex one;
#ifdef ZAN_MISUSE
zan::Mutex two(one);
#endif
