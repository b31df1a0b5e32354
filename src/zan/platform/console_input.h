#pragma once

namespace zan::platform {

// Whether a read from std::cin has something to take, so that it need not wait for the user:
// text in the buffers of std::cin or stdin, or a readable descriptor 0. At end of file this is
// true, and the read then fails at once; with the descriptor closed it is false.
//
// A terminal in its normal mode becomes readable with a whole line. A pipe does so with its
// first byte, and a getline then waits for the rest of the line.
//
// Threads: any. While another thread reads from stdin, its buffer counts as empty.
bool inputWaiting();

}  // namespace zan::platform
