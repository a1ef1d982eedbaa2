# What goes where: libraries, headers, package files for CMake and pkg-config, the tool, documents; and the Debian
# packages made of them. Every path is relative to the others, so that an installed tree can be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(PELL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/pell)
set(PELL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/pell)
set(PELL_PKGCONFIGDIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# A library with its header, at the path that the header's users write behind #include.
function(pell_install_library target exported header)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${exported})
  target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${PELL_INCLUDEDIR}>)
  install(TARGETS ${target} EXPORT pell LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)
  get_filename_component(directory ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${PELL_INCLUDEDIR}/${directory} COMPONENT development)
endfunction()

function(pell_install_pkgconfig name)
  file(RELATIVE_PATH PELL_PREFIX_FROM_PC
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${PELL_PKGCONFIGDIR} COMPONENT development)
endfunction()

pell_install_library(pell_format format format/pell_format.h)
# The stand-in beside it is found wherever the tree is; a host that has loaded its own has it all the same.
set_target_properties(pell_format PROPERTIES INSTALL_RPATH "\$ORIGIN")
pell_install_library(pell_player_utils player_utils platform/player_utils/player_utils.h)
pell_install_pkgconfig(pell_format)
if(TARGET pell_charset)
  pell_install_library(pell_charset charset charset/pell_charset.h)
  pell_install_pkgconfig(pell_charset)
endif()
install(EXPORT pell NAMESPACE pell:: FILE pellTargets.cmake DESTINATION ${PELL_CMAKEDIR} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/pellConfig.cmake.in ${PROJECT_BINARY_DIR}/pellConfig.cmake
  INSTALL_DESTINATION ${PELL_CMAKEDIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/pellConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/pellConfig.cmake ${PROJECT_BINARY_DIR}/pellConfigVersion.cmake
  DESTINATION ${PELL_CMAKEDIR} COMPONENT development)

if(TARGET pellsub)
  install(TARGETS pellsub RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  # The manual page and the completions are written from the tool's own tables when it is built.
  install(DIRECTORY ${PROJECT_BINARY_DIR}/share/ DESTINATION ${CMAKE_INSTALL_DATADIR} COMPONENT tool)
endif()
if(TARGET pellsub_picture)
  install(TARGETS pellsub_picture LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/pellsub COMPONENT pictures)
endif()

install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)

# --- Debian packages: libraries, what hosts are built with, the tool, and what draws, which needs most -------------

set(PELL_PACKAGE_CONTACT "The pell developers <pell@localhost>" CACHE STRING "Who the packages name as maintainer")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME pell)
set(CPACK_PACKAGE_CONTACT ${PELL_PACKAGE_CONTACT})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/compress_manual.cmake)
set(CPACK_COMPONENTS_ALL library development)
if(TARGET pellsub)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
if(TARGET pellsub_picture)
  list(APPEND CPACK_COMPONENTS_ALL pictures)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
if(CMAKE_LIBRARY_ARCHITECTURE STREQUAL "arm-linux-gnueabihf")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()

# pell_package COMPONENT NAME SECTION DEPENDS SUMMARY TEXT
function(pell_package component name section depends summary text)
  string(TOUPPER ${component} upper)
  string(STRIP "${depends}" depends)
  foreach(pair "NAME=${name}" "SECTION=${section}" "DEPENDS=${depends}")
    string(REGEX MATCH "^([A-Z]+)=(.*)$" pair "${pair}")
    set(CPACK_DEBIAN_${upper}_PACKAGE_${CMAKE_MATCH_1} "${CMAKE_MATCH_2}" PARENT_SCOPE)
  endforeach()
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
endfunction()

set(same "(= ${PROJECT_VERSION})")
pell_package(library libpell-format libs ""
  "subtitle-format plug-in for media players"
  "libpell_format.so indexes SubRip, SubStation Alpha, SAMI, lyrics, text SUB and
VobSub files and delivers their cues as timed frames. With it come a
character-set converter, and a stand-in for the utility library that a player
brings under the same name.")
pell_package(development libpell-format-dev libdevel "libpell-format ${same}"
  "headers and documents of the subtitle-format plug-in"
  "What a media player is built with that loads libpell_format.so: headers, files
for CMake and pkg-config, documents and examples.")
pell_package(tool pellsub video "libpell-format ${same}"
  "looks into subtitle files, checks and converts them"
  "pellsub reads subtitle files through the plug-in that media players load, and
shows what they get.")
pell_package(pictures pellsub-pictures video "pellsub ${same}"
  "draws the pictures of VobSub subtitles"
  "What pellsub render needs to decode VobSub units and to write PNG files.")
# The loader's cache is renewed once, after all packages.
file(WRITE ${PROJECT_BINARY_DIR}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/triggers)
set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS pellsub-pictures)
include(CPack)
