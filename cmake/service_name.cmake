# The local-socket name under which the host application offers its external API.
# The server and the development host are both built with it.
set(ORVANE_EXTERNAL_API_SERVICE_NAME "com.orvane.external-api" CACHE STRING
    "Local-socket name of the host's external API: reverse DNS, ending in .external-api")

set(label "[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?")
if(NOT ORVANE_EXTERNAL_API_SERVICE_NAME MATCHES "^${label}(\\.${label})*\\.external-api$")
  message(FATAL_ERROR
          "ORVANE_EXTERNAL_API_SERVICE_NAME must be a reverse-DNS identifier that ends in \".external-api\", "
          "but is \"${ORVANE_EXTERNAL_API_SERVICE_NAME}\".")
endif()
unset(label)
