# TESSIVO_SANITIZE: a comma list of sanitizers (e.g. "address,undefined"),
# empty by default. When set, every target of the tree is compiled and
# linked with them, undefined behaviour stops the program that hits it, and
# the kit's exported target carries the link option so that a host built
# against the installed package links the sanitizer runtimes too.
# scripts/test-sanitizers.sh builds and tests this way.
set(TESSIVO_SANITIZE "" CACHE STRING
  "Sanitizers to build every target with, a comma list such as address,undefined (empty: none)")

# Test time limits are multiplied by this factor; sanitized programs run
# several times slower.
set(TESSIVO_TEST_TIMEOUT_FACTOR 1)

if(TESSIVO_SANITIZE)
  string(REPLACE " " "" sanitize "${TESSIVO_SANITIZE}")
  set(TESSIVO_SANITIZE_FLAGS -fsanitize=${sanitize} -fno-omit-frame-pointer)
  if(sanitize MATCHES "(^|,)undefined(,|$)")
    list(APPEND TESSIVO_SANITIZE_FLAGS -fno-sanitize-recover=undefined)
  endif()
  add_compile_options(${TESSIVO_SANITIZE_FLAGS})
  set(TESSIVO_SANITIZE_LINK_FLAGS -fsanitize=${sanitize})
  add_link_options(${TESSIVO_SANITIZE_LINK_FLAGS})
  set(TESSIVO_TEST_TIMEOUT_FACTOR 3)
  message(STATUS "Sanitizers: ${sanitize}")
endif()

# tessivo_test_timeout(<var> <seconds>): the time limit for a test that
# takes at most <seconds> in a normal build.
function(tessivo_test_timeout var seconds)
  math(EXPR scaled "${seconds} * ${TESSIVO_TEST_TIMEOUT_FACTOR}")
  set(${var} ${scaled} PARENT_SCOPE)
endfunction()
