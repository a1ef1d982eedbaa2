# How our own code is compiled. pell_compile: everywhere. pell_plugin_compile: what goes into a C-only shared object.

add_library(pell_compile INTERFACE)
target_include_directories(pell_compile INTERFACE ${PROJECT_SOURCE_DIR})
# Descriptors name only the slots they fill, hence no missing-field-initializers. GCC 12 sees overlaps in std::string's
# operator+ that are not there, hence no restrict.
target_compile_options(pell_compile INTERFACE
  -Wall -Wextra -Wshadow -Wpointer-arith -Wcast-align -Wconversion -Wsign-conversion -Wformat=2
  -Wno-missing-field-initializers $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict> -fstack-protector-strong
  $<$<BOOL:${PELL_WERROR}>:-Werror>)
target_link_options(pell_compile INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,-z,text)
include(CheckPIESupported)
check_pie_supported()
# Debian's start files do not say that they suit a shadow stack, but they do.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  set(PELL_CET ON)
  target_compile_options(pell_compile INTERFACE -fcf-protection=full)
  target_link_options(pell_compile INTERFACE -Wl,-z,shstk)
endif()
if(NOT PELL_SANITIZE)
  target_compile_options(pell_compile INTERFACE
    $<$<CONFIG:Release,RelWithDebInfo>:-U_FORTIFY_SOURCE>
    $<$<CONFIG:Release,RelWithDebInfo>:-D_FORTIFY_SOURCE=2>)
else()
  target_compile_options(pell_compile INTERFACE
    -fsanitize=${PELL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(pell_compile INTERFACE -fsanitize=${PELL_SANITIZE})
endif()

# No exceptions, no RTTI, no guards and no unwinder: nothing that would pull in a C++ runtime. Floating-point results
# are the same on every target, so no contraction. Nothing unwinds through the plug-in; it need not carry the tables.
add_library(pell_plugin_compile INTERFACE)
target_link_libraries(pell_plugin_compile INTERFACE pell_compile)
target_compile_options(pell_plugin_compile INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
  $<$<CONFIG:Release>:-O2> -fno-asynchronous-unwind-tables -ffp-contract=off -fno-semantic-interposition -ffunction-sections -fdata-sections)

# Turns a shared library of C++ sources into one that the C driver links: an accidental use of the C++ runtime is then
# an unresolved symbol. Sanitized builds are linked without that check, their runtime comes with the program.
function(pell_plugin_link target)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
  target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,--gc-sections -Wl,-Bsymbolic-functions)
  # Without constructors there is nothing for the start files to do; they would take the marks for branch tracking away.
  if(NOT PELL_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,-z,defs -nostartfiles $<$<BOOL:${PELL_CET}>:-Wl,-z,cet-report=error>)
  endif()
endfunction()
