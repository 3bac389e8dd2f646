# Tests of the libdc1394 bus layer; included by this folder's CMakeLists.
if(TARGET PkgConfig::DC1394)
  pralix_add_gtest(dc1394_tests
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/dc1394_bus_test.cpp ${CMAKE_CURRENT_LIST_DIR}/dc1394_fw_node_test.cpp
            ${CMAKE_CURRENT_LIST_DIR}/dc1394_stream_test.cpp
    LIBS pralix_qrvnvdcam THREADS)
endif()
