// A number is no time: the unit has to be said.
// error: conversion from .int. to non-scalar type
// error: no viable conversion from .int. to
#include "zan/base/base_type_time.h"

zan::Time five = zan::Time::seconds(5);
#ifdef ZAN_MISUSE
zan::Time six = 6;
#endif
