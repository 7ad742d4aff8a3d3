# ferrolink_target(<target>): language level, warnings, visibility, hardening and sanitizers.
# ferrolink_shared_member(<target> <version script>): a shared library of the installation tree. It
# exports exactly the names of its version script and binds its own symbols to itself, because several
# members of the family, and hosts with equal names, share a process. It stays mapped after the last
# dlclose: until the process ends, role objects and the configuration live, and threads run its code when
# they end.
# ferrolink_program(<target>): a program of the installation tree. With FERROLINK_PRECOMPILE, for trees that
# are built often, its own sources have line numbers only. The libraries have all debugging information:
# their binary interface is read from it.
# A shared member has a note with the project's version, which the tool reads.
#
# FERROLINK_QUICK_COMPILE, set in a directory: its targets are compiled without optimization and with
# line numbers only. For test programs: they compile in about a third of the time.
# FERROLINK_TEST_CODE, set in a directory: its targets are compiled without the checks of each pointer for
# null and alignment, which take a quarter of the time to compile. Directories that test header-only code of
# ours do without it.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_cxx_compiler_flag(-fno-gnu-unique FERROLINK_HAS_NO_GNU_UNIQUE)
check_pie_supported(LANGUAGES CXX)  # position-independent programs are linked as such
find_package(Threads REQUIRED)

function(ferrolink_target target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    C_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON
    BUILD_RPATH_USE_ORIGIN OFF
    SKIP_BUILD_RPATH ON)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<BOOL:${FERROLINK_WERROR}>:-Werror>
    -fno-semantic-interposition
    $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<BOOL:${FERROLINK_HAS_NO_GNU_UNIQUE}>>:-fno-gnu-unique>)
  set(_optimization -O1)
  if(FERROLINK_QUICK_COMPILE)
    set(_optimization -O0 -g1)
    if(FERROLINK_SANITIZER STREQUAL "")
      target_compile_options(${target} PRIVATE ${_optimization})
    endif()
  endif()
  if(FERROLINK_SANITIZER STREQUAL "address")
    target_compile_options(${target} PRIVATE
      -fsanitize=address,undefined -fno-omit-frame-pointer ${_optimization}
      $<$<BOOL:${FERROLINK_TEST_CODE}>:-fno-sanitize=null,alignment>)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined)
    target_compile_definitions(${target} PRIVATE FERROLINK_SANITIZED=1)
  elseif(FERROLINK_SANITIZER STREQUAL "thread")
    target_compile_options(${target} PRIVATE -fsanitize=thread ${_optimization})
    target_link_options(${target} PRIVATE -fsanitize=thread)
    target_compile_definitions(${target} PRIVATE FERROLINK_SANITIZED=1)
  else()
    target_compile_options(${target} PRIVATE
      -fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
    # The C library warns about fortification without optimization.
    if(NOT FERROLINK_QUICK_COMPILE)
      target_compile_options(${target} PRIVATE
        $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3>)
    endif()
    target_compile_definitions(${target} PRIVATE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
  endif()
endfunction()

# An ELF note: owner "Ferrolink", type 1, the version. Stripping keeps it.
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/FerrolinkVersionNote.c" @ONLY CONTENT
[[__attribute__((section(".note.ferrolink"), used, aligned(4))) static const struct {
  unsigned nameSize, contentSize, type;
  char name[12], content[(sizeof "@PROJECT_VERSION@" + 3) / 4 * 4];
} FerrolinkVersionNote = {sizeof "Ferrolink", sizeof "@PROJECT_VERSION@", 1, "Ferrolink", "@PROJECT_VERSION@"};
]])

function(ferrolink_shared_member target version_script)
  ferrolink_target(${target})
  target_sources(${target} PRIVATE "${PROJECT_BINARY_DIR}/FerrolinkVersionNote.c")
  set_target_properties(${target} PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY "${FERROLINK_NATIVE_DIR}"
    LINK_DEPENDS "${version_script}")
  target_link_options(${target} PRIVATE
    "LINKER:--version-script=${version_script}"
    LINKER:-Bsymbolic LINKER:--exclude-libs,ALL LINKER:--as-needed
    LINKER:-z,nodelete
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack LINKER:--hash-style=gnu)
  if(FERROLINK_SANITIZER STREQUAL "")
    target_link_options(${target} PRIVATE LINKER:-z,defs)
  endif()
endfunction()

function(ferrolink_program target)
  ferrolink_target(${target})
  if(FERROLINK_PRECOMPILE)
    target_compile_options(${target} PRIVATE -g1)
  endif()
  set_target_properties(${target} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${FERROLINK_BINARIES_ROOT}/bin")
  target_link_options(${target} PRIVATE LINKER:--as-needed
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endfunction()
