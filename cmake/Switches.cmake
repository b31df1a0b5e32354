# The compile switches. Each is seen by the library and by everybody who includes its headers, since
# macros in the headers depend on them: the target and zan.pc hand them on.
#
#   option ZAN_X                 what it defines
#   ASSERT_ON ... UNIT_TEST      _ZAN_X, or nothing when off
#   THROW_REALLY and
#   BREAK_ON_EXCEPTION           _ZAN_X=1, or =0 when off

if(CMAKE_BUILD_TYPE STREQUAL "Debug")
    set(zan_debug ON)
else()
    set(zan_debug OFF)
endif()

option(ZAN_ASSERT_ON "Check the preconditions and report those that fail" ON)
option(ZAN_ASSERT_ABORT_ON "End the program at a failed precondition" ${zan_debug})
option(ZAN_DEBUG_ON "Compile in the log lines of debug level" ON)
option(ZAN_TRACE_ON "Compile in the call tracing" ON)
option(ZAN_TRACE_LOG_ON "Let the call tracing write entry and exit lines" ON)
option(ZAN_MEMLEAKCHECK_ON "Compile in the hooks of the leak checker" ON)
option(ZAN_UNIT_TEST "Compile in what only the library's own unit tests need" OFF)
option(ZAN_THROW_REALLY "Let the throw macros throw, after logging" ON)
option(ZAN_BREAK_ON_EXCEPTION "Reported by the version report" ON)

set(ZAN_SWITCHES)
foreach(switch IN ITEMS ASSERT_ON ASSERT_ABORT_ON DEBUG_ON TRACE_ON TRACE_LOG_ON MEMLEAKCHECK_ON
                        UNIT_TEST)
    if(ZAN_${switch})
        list(APPEND ZAN_SWITCHES _ZAN_${switch})
    endif()
endforeach()
foreach(switch IN ITEMS THROW_REALLY BREAK_ON_EXCEPTION)
    list(APPEND ZAN_SWITCHES _ZAN_${switch}=$<BOOL:${ZAN_${switch}}>)
endforeach()
