# What `cmake --install` puts down and `cpack -G DEB` packs: the tools, the
# host library with the headers it needs, the docs, and a CMake package
# (vorpConfig.cmake) with the vorp_add_albums() function. Included last from
# the root CMakeLists, so every optional tool target already exists. Nothing
# here changes how the product is compiled.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VORP_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/vorp)
# Headers keep their repository layout ("album/AlbumReader.h") under one
# folder, so that the includes between them resolve unchanged.
set(VORP_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/vorp)

# Usage requirements for projects that link the libraries: the includes, the
# language level of the headers, and no fused multiply-add, without which
# the inline math in the headers could round differently in the consumer's
# code. Duplicates of the root's own flags, so vorp's build is unchanged.
target_include_directories(vorp_core INTERFACE
  $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}>
  $<INSTALL_INTERFACE:${VORP_INSTALL_INCLUDEDIR}>)
target_compile_features(vorp_core INTERFACE cxx_std_20)
target_compile_options(vorp_core INTERFACE
  $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-ffp-contract=off>)
set_target_properties(vorp_core PROPERTIES EXPORT_NAME core)
set_target_properties(vorp_host PROPERTIES EXPORT_NAME host)

set(VORP_INSTALLED_TOOLS vorp vorp-dump vorp-render)
foreach(tool vorp-view vorp-prep)
  if(TARGET ${tool})
    list(APPEND VORP_INSTALLED_TOOLS ${tool})
  endif()
endforeach()

install(TARGETS ${VORP_INSTALLED_TOOLS} vorp_core vorp_host
  EXPORT vorpTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

# The public headers: the host's and the shader texts', the float mode a
# host sets before building meshes, and every repository header they
# include, found by following the quoted includes.
function(vorp_header_closure out)
  set(pending ${ARGN})
  set(found)
  while(pending)
    list(POP_FRONT pending header)
    if(header IN_LIST found)
      continue()
    endif()
    if(NOT EXISTS ${CMAKE_SOURCE_DIR}/${header})
      message(FATAL_ERROR "Public header ${header} is missing")
    endif()
    list(APPEND found ${header})
    file(STRINGS ${CMAKE_SOURCE_DIR}/${header} lines REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
    foreach(line ${lines})
      string(REGEX REPLACE "^[^\"]*\"([^\"]+)\".*$" "\\1" included "${line}")
      list(APPEND pending ${included})
    endforeach()
  endwhile()
  set(${out} ${found} PARENT_SCOPE)
endfunction()

vorp_header_closure(VORP_PUBLIC_HEADERS
  host/AlbumHost.h album/ShaderSources.h support/FloatMode.h)
foreach(header ${VORP_PUBLIC_HEADERS})
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${CMAKE_SOURCE_DIR}/${header} DESTINATION ${VORP_INSTALL_INCLUDEDIR}/${folder})
endforeach()

install(FILES ${CMAKE_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
# Beside README.md, so that its links into docs/ still work.
install(DIRECTORY ${CMAKE_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)

# The package: targets as vorp::host, vorp::core, vorp::vorp and so on; a
# release with the same major version satisfies a request.
install(EXPORT vorpTargets NAMESPACE vorp:: DESTINATION ${VORP_INSTALL_CMAKEDIR})
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/vorpConfig.cmake.in
  ${CMAKE_BINARY_DIR}/package/vorpConfig.cmake
  INSTALL_DESTINATION ${VORP_INSTALL_CMAKEDIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/vorpConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_BINARY_DIR}/package/vorpConfig.cmake
  ${CMAKE_BINARY_DIR}/vorpConfigVersion.cmake
  ${CMAKE_SOURCE_DIR}/cmake/VorpAlbums.cmake
  DESTINATION ${VORP_INSTALL_CMAKEDIR})

# The same package straight from this build tree (-Dvorp_DIR=<build>), with
# the headers of the source tree.
export(EXPORT vorpTargets NAMESPACE vorp:: FILE ${CMAKE_BINARY_DIR}/vorpTargets.cmake)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/vorpConfig.cmake.in
  ${CMAKE_BINARY_DIR}/vorpConfig.cmake
  INSTALL_DESTINATION ${CMAKE_BINARY_DIR} INSTALL_PREFIX ${CMAKE_BINARY_DIR})
configure_file(${CMAKE_SOURCE_DIR}/cmake/VorpAlbums.cmake ${CMAKE_BINARY_DIR}/VorpAlbums.cmake COPYONLY)

# cpack -G DEB
set(CPACK_PACKAGE_NAME vorp)
set(CPACK_PACKAGE_VENDOR "vorp developers")
set(CPACK_PACKAGE_CONTACT "vorp developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "Compiles SVG and Tessary drawings into albums a GPU shader draws")
set(CPACK_PACKAGE_DESCRIPTION
  "vorp compiles vector drawings into albums of curve and band textures that a GPU shader draws at any scale. The package holds the tools, the host library and its headers, and a CMake package with vorp_add_albums() for asset builds.")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "vorp developers")
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# The dependencies come from the tools' shared libraries where dpkg-dev is
# installed; otherwise the C and C++ runtimes, which every tool but the
# statically linked vorp needs (and OpenGL for vorp-view).
find_program(VORP_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(VORP_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libstdc++6, libgcc-s1")
  if(TARGET vorp-view)
    string(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS ", libegl1, libopengl0")
  endif()
endif()
include(CPack)
