# vorp_add_albums(TARGET name [ALL] [OUTPUT_DIRECTORY dir] SOURCES file...
#                 [PICTURE] [OPTIONS option...])
#
# Compiles each drawing (SVG, or Tessary text for any other name) into
# <dir>/<name without its last extension>.vorp, one build rule per drawing,
# so an edited drawing recompiles only its own album, and a new vorp
# executable recompiles them all. The custom target `name` depends on every
# album (ALL: and is built by default); its VORP_ALBUMS property lists their
# paths. PICTURE compiles picture albums (-pict); OPTIONS are passed to vorp
# as they are (e.g. -max-band-count 16). Relative sources are taken from the
# current source directory, a relative OUTPUT_DIRECTORY from the current
# binary directory (the default).
function(vorp_add_albums)
  cmake_parse_arguments(PARSE_ARGV 0 arg "ALL;PICTURE" "TARGET;OUTPUT_DIRECTORY" "SOURCES;OPTIONS")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "vorp_add_albums: unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT arg_TARGET)
    message(FATAL_ERROR "vorp_add_albums: TARGET is required")
  endif()
  if(NOT arg_SOURCES)
    message(FATAL_ERROR "vorp_add_albums(${arg_TARGET}): SOURCES names no drawing")
  endif()
  if(NOT TARGET vorp::vorp)
    message(FATAL_ERROR "vorp_add_albums(${arg_TARGET}): vorp::vorp is not defined; call find_package(vorp) first")
  endif()

  set(directory ${CMAKE_CURRENT_BINARY_DIR})
  if(arg_OUTPUT_DIRECTORY)
    get_filename_component(directory ${arg_OUTPUT_DIRECTORY} ABSOLUTE BASE_DIR ${CMAKE_CURRENT_BINARY_DIR})
  endif()
  file(MAKE_DIRECTORY ${directory})

  set(mode)
  if(arg_PICTURE)
    set(mode -pict)
  endif()

  set(albums)
  foreach(source ${arg_SOURCES})
    get_filename_component(input ${source} ABSOLUTE BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
    get_filename_component(name ${input} NAME_WLE)
    set(album ${directory}/${name}.vorp)
    # Two drawings of one name would write one album.
    if(album IN_LIST albums)
      message(FATAL_ERROR "vorp_add_albums(${arg_TARGET}): two sources make ${album}")
    endif()
    list(APPEND albums ${album})
    add_custom_command(OUTPUT ${album}
      COMMAND vorp::vorp ${mode} ${arg_OPTIONS} -o ${album} ${input}
      DEPENDS ${input} vorp::vorp
      COMMENT "Compiling album ${name}.vorp"
      VERBATIM)
  endforeach()

  set(all)
  if(arg_ALL)
    set(all ALL)
  endif()
  add_custom_target(${arg_TARGET} ${all} DEPENDS ${albums})
  set_property(TARGET ${arg_TARGET} PROPERTY VORP_ALBUMS ${albums})
endfunction()
