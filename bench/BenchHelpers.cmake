# ferrolink_bench_program(<target> <file>...): a program in the benchmark's directory.
function(ferrolink_bench_program target)
  add_executable(${target} ${ARGN})
  ferrolink_target(${target})
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${FERROLINK_BENCH_DIR}")
  target_link_libraries(${target} PRIVATE FerrolinkBenchHarness)
endfunction()

# ferrolink_bench_library(<target> <file>...): a library to be opened at run time.
function(ferrolink_bench_library target)
  add_library(${target} MODULE ${ARGN})
  ferrolink_target(${target})
  set_target_properties(${target} PROPERTIES LIBRARY_OUTPUT_DIRECTORY "${FERROLINK_BENCH_DIR}")
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${target} PRIVATE FerrolinkJni)
endfunction()

# ferrolink_bench_home(<directory> <library target>...): an installation for the benchmark only, created
# by a target of that name. It has copies, because the JVM resolves links and would use the real one.
function(ferrolink_bench_home home)
  set(_native "${FERROLINK_BENCH_DIR}/${home}/Binaries/Native/Linux/X64")
  set(_copies)
  foreach(_member IN LISTS ARGN)
    set(_copy "${_native}/lib${_member}.so")
    add_custom_command(OUTPUT "${_copy}"
      COMMAND "${CMAKE_COMMAND}" -E copy "$<TARGET_FILE:${_member}>" "${_copy}"
      DEPENDS ${_member} COMMENT "Installing lib${_member}.so into ${home}")
    list(APPEND _copies "${_copy}")
  endforeach()
  add_custom_target(${home} ALL DEPENDS ${_copies})
endfunction()
