# vorlik_add_test(<name> SOURCES <files...> [LIBS <targets...>] [X11])
#
# One Qt Test program per area. Tests without X11 run on the offscreen
# platform; X11 tests need the real X server that `make test` starts, and
# take a lock on it because the clipboard and the focus are shared.
function(vorlik_add_test name)
    cmake_parse_arguments(ARG "X11" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE vorlik_options vorlik_testsupport Qt6::Test ${ARG_LIBS})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    add_test(NAME ${name} COMMAND ${name})
    set(env "LANG=C.UTF-8" "TZ=UTC" "QT_LOGGING_RULES=qt.qpa.*=false")
    if(ARG_X11)
        set_tests_properties(${name} PROPERTIES LABELS "x11" RESOURCE_LOCK xserver)
        list(APPEND env "QT_QPA_PLATFORM=xcb")
    else()
        set_tests_properties(${name} PROPERTIES LABELS "offscreen")
        list(APPEND env "QT_QPA_PLATFORM=offscreen")
    endif()
    set_tests_properties(${name} PROPERTIES ENVIRONMENT "${env}" TIMEOUT 300)
endfunction()
