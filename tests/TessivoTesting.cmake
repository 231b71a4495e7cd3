# tessivo_add_test(NAME <name> SOURCES <files...> [LIBS <targets...>] [TIMEOUT <s>])
# One QtTest executable linked to the kit and the shared test support,
# registered with ctest to run headless, in a home of its own
# (TESSIVO_TEST_LAUNCHER, tests/isolate.sh).
function(tessivo_add_test)
  cmake_parse_arguments(T "" "NAME;TIMEOUT" "SOURCES;LIBS" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE tessivo_test_support Tessivo::Tessivo Qt6::Test ${T_LIBS})
  target_compile_options(${T_NAME} PRIVATE -Wall -Wextra)
  add_test(NAME ${T_NAME} COMMAND ${TESSIVO_TEST_LAUNCHER} $<TARGET_FILE:${T_NAME}>)
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  tessivo_test_timeout(timeout ${T_TIMEOUT})
  set_tests_properties(${T_NAME} PROPERTIES
    TIMEOUT ${timeout}
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;QT_LOGGING_RULES=qt.qpa.*=false;TESSIVO_TEST=1")
endfunction()
