#pragma once

namespace zan::detail {

// What the code page argument -1 stands for.
long configuredCodepage();

}  // namespace zan::detail
