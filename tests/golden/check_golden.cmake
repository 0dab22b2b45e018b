# Renders the gallery at 64x48, 4 samples per pixel, seed 7, in one mode, and compares each
# preview with its reference by idiff. A pixel fails when a channel differs by more than 0.002
# (the references are half floats: identical renders differ by nothing, any change to a formula
# by far more). On failure the difference image, scaled by 10, is left beside the render as
# <class>-diff.exr and every failing class is named. With -DUPDATE=ON the renders replace the
# references instead. Run with -DRENDER=... -DIDIFF=... -DREFERENCES=... -DMODE=... -DWORK=...
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")
execute_process(COMMAND "${RENDER}" --gallery --mode ${MODE} --resolution 64x48 --spp 4 --seed 7 --threads 2 --quiet
                        -o "${WORK}/sheet.exr"
                RESULT_VARIABLE result ERROR_VARIABLE error OUTPUT_QUIET)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "kestrel-render --gallery --mode ${MODE} failed: ${error}")
endif()
set(rendered_dir "${WORK}/sheet-previews")
set(reference_dir "${REFERENCES}/${MODE}")
file(GLOB rendered RELATIVE "${rendered_dir}" "${rendered_dir}/*.exr")
file(GLOB references RELATIVE "${reference_dir}" "${reference_dir}/*.exr")

# Updating replaces only the references whose pixels changed (the files carry a time stamp, so
# copying every render would show every file in the diff), and removes those of gone classes.
if(UPDATE)
  file(MAKE_DIRECTORY "${reference_dir}")
  foreach(image IN LISTS references)
    if(NOT EXISTS "${rendered_dir}/${image}")
      file(REMOVE "${reference_dir}/${image}")
    endif()
  endforeach()
  foreach(image IN LISTS rendered)
    execute_process(COMMAND "${IDIFF}" -q -fail 0 -warn 0 "${reference_dir}/${image}" "${rendered_dir}/${image}"
                    RESULT_VARIABLE differs OUTPUT_QUIET ERROR_QUIET)
    if(differs)
      file(COPY "${rendered_dir}/${image}" DESTINATION "${reference_dir}")
    endif()
  endforeach()
  return()
endif()

set(failed "")
set(images ${rendered} ${references})
list(REMOVE_DUPLICATES images)
foreach(image IN LISTS images)
  get_filename_component(class "${image}" NAME_WE)
  if(NOT EXISTS "${reference_dir}/${image}")
    list(APPEND failed "${class} (no reference)")
  elseif(NOT EXISTS "${rendered_dir}/${image}")
    list(APPEND failed "${class} (no longer rendered)")
  else()
    execute_process(COMMAND "${IDIFF}" -fail 0.002 -failpercent 0 -warn 0.002 -od -abs -scale 10
                            -o "${WORK}/${class}-diff.exr" "${reference_dir}/${image}" "${rendered_dir}/${image}"
                    RESULT_VARIABLE differs OUTPUT_VARIABLE report)
    if(differs)
      list(APPEND failed "${class}")
      message("${class}: ${report}")
    endif()
  endif()
endforeach()
if(failed)
  message(FATAL_ERROR "${MODE} previews differ from tests/golden/${MODE}: ${failed}; difference images in ${WORK}; "
                      "if the change is meant, run cmake --build --preset release --target update-goldens")
endif()
