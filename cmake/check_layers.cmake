# Fails when an include in the library runs against its layers. Run as
#   cmake -DSOURCE_DIR=<repo>/src -P check_layers.cmake
#
# Layers, bottom to top: frame/ (contract, value types, maths), shading/ (operations several
# classes share), textures/ (texture nodes), then the class folders: lights/, environments/ and
# each materials/<family>/. A file may include its own folder and any layer below its own; class
# folders never include one another, so a formula two classes need moves down into shading/.
if(NOT SOURCE_DIR)
  message(FATAL_ERROR "check_layers: pass -DSOURCE_DIR=<repo>/src")
endif()

function(layer_of folder out_rank)
  if(folder STREQUAL "frame")
    set(rank 0)
  elseif(folder STREQUAL "shading")
    set(rank 1)
  elseif(folder STREQUAL "textures")
    set(rank 2)
  else()
    set(rank 3)
  endif()
  set(${out_rank} ${rank} PARENT_SCOPE)
endfunction()

# The folder a path belongs to: the first component, or materials/<family>.
function(folder_of path out_folder)
  string(REGEX MATCH "^materials/[^/]+" folder "${path}")
  if(NOT folder)
    string(REGEX MATCH "^[^/]+" folder "${path}")
  endif()
  set(${out_folder} "${folder}" PARENT_SCOPE)
endfunction()

get_filename_component(SOURCE_DIR "${SOURCE_DIR}" ABSOLUTE)
file(GLOB_RECURSE sources RELATIVE "${SOURCE_DIR}" "${SOURCE_DIR}/*.h" "${SOURCE_DIR}/*.cpp")
set(violations "")
foreach(source IN LISTS sources)
  folder_of("${source}" from)
  layer_of("${from}" from_rank)
  file(STRINGS "${SOURCE_DIR}/${source}" includes REGEX "^#include \"")
  foreach(line IN LISTS includes)
    string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" target "${line}")
    if(NOT target MATCHES "/")
      continue()  # a sibling in the same folder
    endif()
    folder_of("${target}" to)
    layer_of("${to}" to_rank)
    if(to STREQUAL from OR to_rank LESS from_rank)
      continue()
    endif()
    string(APPEND violations "  ${source} includes ${target}\n")
  endforeach()
  # The shared layers serve every class, so they name no one class's parameters (the common
  # inputs several materials declare alike are the shading layer's own).
  if(from_rank LESS 3)
    file(STRINGS "${SOURCE_DIR}/${source}" named REGEX "_ward_")
    foreach(line IN LISTS named)
      string(APPEND violations "  ${source} names a material's parameter: ${line}\n")
    endforeach()
  endif()
endforeach()

if(violations)
  message(FATAL_ERROR "Includes against the layers (frame < shading < textures < class folders):\n${violations}")
endif()
list(LENGTH sources count)
message(STATUS "check_layers: ${count} files follow the layers")
