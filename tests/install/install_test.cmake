# Driven by the Install.ConsumerProjectUsesThePackage test; see CMakeLists.txt beside it.
function(run_step name)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${name} failed (${result}):\n${output}")
  endif()
  set(STEP_OUTPUT "${output}" PARENT_SCOPE)
endfunction()

set(prefix "${WORK_DIR}/prefix")
set(consumer_build "${WORK_DIR}/consumer-build")
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")

set(config_args)
if(CONFIG)
  set(config_args --config "${CONFIG}")
endif()
run_step("cmake --install" "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}" ${config_args})

run_step("configuring the consumer" "${CMAKE_COMMAND}" -S "${CONSUMER_DIR}" -B "${consumer_build}"
  -G "${GENERATOR}"
  "-DCMAKE_PREFIX_PATH=${prefix}"
  "-DCMAKE_BUILD_TYPE=${CONFIG}"
  "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
  "-DCMAKE_CXX_COMPILER_LAUNCHER=${CXX_LAUNCHER}"
  "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
  "-DCMAKE_EXE_LINKER_FLAGS=${EXE_LINKER_FLAGS}")
run_step("building the consumer" "${CMAKE_COMMAND}" --build "${consumer_build}" ${config_args})

file(GLOB_RECURSE consumer_program LIST_DIRECTORIES false "${consumer_build}/kestrel_consumer")
if(NOT consumer_program)
  message(FATAL_ERROR "the consumer program was not built in ${consumer_build}")
endif()
run_step("running the consumer" ${consumer_program})
message(STATUS "${STEP_OUTPUT}")

run_step("the installed kestrel-info" "${prefix}/bin/kestrel-info")
if(NOT STEP_OUTPUT MATCHES "znPointLight")
  message(FATAL_ERROR "the installed kestrel-info did not list znPointLight:\n${STEP_OUTPUT}")
endif()
# The explanations come from the catalogue installed with the SDK, found beside the tool.
run_step("the installed kestrel-info explaining a class" "${prefix}/bin/kestrel-info" znPointLight)
if(NOT EXISTS "${prefix}/share/kestrel/catalogue.json" OR NOT STEP_OUTPUT MATCHES "omnidirectional")
  message(FATAL_ERROR "the installed catalogue was not found or not read:\n${STEP_OUTPUT}")
endif()
file(REMOVE_RECURSE "${WORK_DIR}")
