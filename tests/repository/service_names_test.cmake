# Configures cmake/service_name.cmake alone with good and bad names: bad ones fail in one sentence that shows them.
cmake_minimum_required(VERSION 3.25)

function(configure name result_variable output_variable)
  execute_process(COMMAND "${CMAKE_COMMAND}" "-DORVANE_EXTERNAL_API_SERVICE_NAME=${name}"
                          -P "${ROOT}/cmake/service_name.cmake"
                  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  set(${result_variable} "${result}" PARENT_SCOPE)
  string(REGEX REPLACE "[ \n]+" " " output "${output}")
  set(${output_variable} "${output}" PARENT_SCOPE)
endfunction()

foreach(good com.orvane.external-api org.example.my-tool.external-api a.external-api io.x1.external-api)
  configure("${good}" result output)
  if(NOT result EQUAL 0)
    message(SEND_ERROR "'${good}' was refused: ${output}")
  endif()
endforeach()

foreach(bad "" external-api .external-api com..external-api com.orvane com.orvane.external-api.x -a.external-api
            "com.or vane.external-api" com.orvane.external-apis com/orvane.external-api com.orvane-.external-api)
  configure("${bad}" result output)
  set(sentence "must be a reverse-DNS identifier that ends in \".external-api\", but is \"${bad}\".")
  string(FIND "${output}" "${sentence}" at)
  if(result EQUAL 0 OR at EQUAL -1)
    message(SEND_ERROR "'${bad}' was not refused in the sentence it should be: ${output}")
  endif()
endforeach()
