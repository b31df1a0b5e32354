#pragma once

namespace zan::detail {

// What the code page argument -1 stands for: that of the configuration. One load once it is known.
long configuredCodepage();

// Asks the configuration, which stands above the core types and defines this. UTF-8 for the thread
// that is just reading it.
long loadConfiguredCodepage();

// The configuration says what holds from now on, or that it has to be asked again.
void publishCodepage(long codepage);
void forgetCodepage();

}  // namespace zan::detail
