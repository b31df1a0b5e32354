# For our own code only, on both compilers; what others wrote comes in as system headers.
add_library(zan_warnings INTERFACE)
target_compile_options(zan_warnings INTERFACE
    -Wall -Wextra -Wconversion -Wshadow $<$<BOOL:${ZAN_WERROR}>:-Werror>)
