#pragma once

// ZAN_EXPORT marks what the shared library offers. The library is compiled with hidden
// visibility, so a symbol without this mark stays inside it.
#define ZAN_EXPORT __attribute__((visibility("default")))

// ZAN_HIDDEN takes one member of an exported class out again.
#define ZAN_HIDDEN __attribute__((visibility("hidden")))
