# CoreFoundation.dll, and MobileDevice.dll, whose functions are the other's.
list(JOIN functions "\n    " core_foundation_exports)
list(TRANSFORM constants APPEND " DATA" OUTPUT_VARIABLE data)
list(JOIN data "\n    " data_exports)
list(TRANSFORM mobile_device_functions REPLACE "(.+)" "\\1 = CoreFoundation.\\1" OUTPUT_VARIABLE
                                                                              forwarders)
list(JOIN forwarders "\n    " mobile_device_exports)
file(CONFIGURE OUTPUT core_foundation.def
     CONTENT "EXPORTS\n    ${core_foundation_exports}\n    ${data_exports}\n" @ONLY)
file(CONFIGURE OUTPUT mobile_device.def CONTENT "EXPORTS\n    ${mobile_device_exports}\n" @ONLY)

# Initialisers run in reverse link order, and the simulation must be initialised after the libraries it
# uses.
add_library(stand_in_core_foundation MODULE stand_in.cpp ${CMAKE_CURRENT_BINARY_DIR}/core_foundation.def)
target_link_libraries(
    stand_in_core_foundation PRIVATE -Wl,--whole-archive simulated_mobile_device
                                     simulated_core_foundation
                                     -Wl,--no-whole-archive)

add_library(stand_in_mobile_device MODULE ${empty} ${CMAKE_CURRENT_BINARY_DIR}/mobile_device.def)

set_target_properties(stand_in_core_foundation stand_in_mobile_device PROPERTIES PREFIX "")
