# cJSON, without needing pkg-config: target cjson::cjson.
find_path(CJSON_INCLUDE_DIR cJSON.h PATH_SUFFIXES cjson)
find_library(CJSON_LIBRARY cjson)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(cjson REQUIRED_VARS CJSON_LIBRARY CJSON_INCLUDE_DIR)

if(cjson_FOUND AND NOT TARGET cjson::cjson)
  add_library(cjson::cjson UNKNOWN IMPORTED)
  set_target_properties(cjson::cjson PROPERTIES
    IMPORTED_LOCATION ${CJSON_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${CJSON_INCLUDE_DIR})
endif()
