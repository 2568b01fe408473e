# How the tests of a -m32 build run. A 64-bit kernel built without IA-32
# emulation cannot execute 32-bit programs ("Exec format error"), so one tiny
# i386 program is built and run once at configure time:
#   runs directly      -> the tests run natively (VEK_TEST_RUNNER=native)
#   cannot be executed -> every test program runs under qemu-i386 through
#                         CMAKE_CROSSCOMPILING_EMULATOR, which add_test and
#                         gtest_discover_tests both honour (=emulated)
# Neither works: configuration fails, because a test tree whose tests cannot
# run must never look like one whose tests passed.
# VEK_M32_EMULATE=ON takes the emulated road even where a direct run works,
# to try it on such a machine. Sets VEK_TEST_RUNNER in the cache; include before any target is created.
function(vek_probe_m32_runner)
  set(dir ${CMAKE_BINARY_DIR}/m32-probe)
  file(WRITE ${dir}/probe.c "int main(void) { return sizeof(void*) == 4 ? 0 : 3; }\n")
  try_compile(built ${dir}/build SOURCES ${dir}/probe.c
    COMPILE_DEFINITIONS -m32 LINK_OPTIONS -m32
    COPY_FILE ${dir}/probe OUTPUT_VARIABLE log)
  if(NOT built)
    message(FATAL_ERROR "vek: cannot build a 32-bit x86 program (-m32); install g++-multilib.\n${log}")
  endif()
  execute_process(COMMAND ${dir}/probe RESULT_VARIABLE direct OUTPUT_QUIET ERROR_QUIET)
  if(direct STREQUAL "0" AND NOT VEK_M32_EMULATE)
    set(VEK_TEST_RUNNER native CACHE INTERNAL "how the i386 tests run")
    return()
  endif()
  find_program(VEK_QEMU_I386 qemu-i386)
  if(VEK_QEMU_I386)
    execute_process(COMMAND ${VEK_QEMU_I386} ${dir}/probe RESULT_VARIABLE emulated OUTPUT_QUIET ERROR_QUIET)
  endif()
  if(NOT emulated STREQUAL "0")
    message(FATAL_ERROR
      "vek: this machine cannot run 32-bit x86 programs (direct run: ${direct}) "
      "and qemu-i386 is missing or failed (${emulated}); the i386 tests cannot run. "
      "Install Debian's qemu-user.")
  endif()
  set(VEK_TEST_RUNNER emulated CACHE INTERNAL "how the i386 tests run")
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VEK_QEMU_I386} CACHE FILEPATH
    "runs the 32-bit test programs on a kernel that cannot" FORCE)
  message(STATUS "vek: i386 tests run under ${VEK_QEMU_I386}")
endfunction()
