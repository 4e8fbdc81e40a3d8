# hidapi with its libusb back end, without needing pkg-config: target hidapi::libusb.
find_path(HIDAPI_INCLUDE_DIR hidapi.h PATH_SUFFIXES hidapi)
find_library(HIDAPI_LIBRARY hidapi-libusb)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(hidapi REQUIRED_VARS HIDAPI_LIBRARY HIDAPI_INCLUDE_DIR)

if(hidapi_FOUND AND NOT TARGET hidapi::libusb)
  add_library(hidapi::libusb UNKNOWN IMPORTED)
  set_target_properties(hidapi::libusb PROPERTIES
    IMPORTED_LOCATION ${HIDAPI_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${HIDAPI_INCLUDE_DIR})
endif()
