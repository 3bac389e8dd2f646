# The libdc1394 bus layer of the qrvnvdcam module: included by the module's
# CMakeLists after pralix_qrvnvdcam exists. Built only where libdc1394 was
# found; PRALIX_HAVE_DC1394 tells the module (and its tests) it is there.
if(TARGET PkgConfig::DC1394)
  target_sources(pralix_qrvnvdcam PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/dc1394_bus.cpp
    ${CMAKE_CURRENT_LIST_DIR}/dc1394_log.cpp
    ${CMAKE_CURRENT_LIST_DIR}/dc1394_stream.cpp
    ${CMAKE_CURRENT_LIST_DIR}/fw_node.cpp)
  target_link_libraries(pralix_qrvnvdcam PUBLIC PkgConfig::DC1394)
  target_compile_definitions(pralix_qrvnvdcam PUBLIC PRALIX_HAVE_DC1394)
endif()
