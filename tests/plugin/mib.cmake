# The programs of the MIB glue and of the value encoders.
set(MIB_ROOMS room-mib room-agent room-codef room-model room-conversions acl-model platform)

# What the tests of the glue share, and their view of its insides.
function(mib_room_test_settings name)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/plugin/mib/src)
  target_compile_definitions(${name} PRIVATE ACLSNMP_ENTERPRISE=${ACLSNMP_ENTERPRISE})
endfunction()

add_room_test(conversions-test SOURCES ConversionsTest.cpp
              LINK room-conversions acl-model platform)

add_room_test(mib-hooks-test SOURCES MibCases.cpp MibIterationTest.cpp MibHintTest.cpp
              MibTimeFilterTest.cpp MibHandlerTest.cpp MibValuesTest.cpp
              MibEncodingTest.cpp
              MibScalarTest.cpp
              LINK ${MIB_ROOMS})
mib_room_test_settings(mib-hooks-test)

add_room_test(mib-registration-test SOURCES MibCases.cpp MibRegistrationTest.cpp
              MibRegistrationDeathTest.cpp MibSeekTest.cpp
              LINK ${MIB_ROOMS})
mib_room_test_settings(mib-registration-test)

# The module is that of the default enterprise number, whatever this build's is: the glue itself is
# left out.
add_room_test(mib-module-test SOURCES MibModuleTest.cpp
              LINK room-conversions room-model acl-model platform)
target_include_directories(mib-module-test PRIVATE ${PROJECT_SOURCE_DIR}/plugin/mib/include
                                                   ${PROJECT_SOURCE_DIR}/plugin/mib/src)
target_compile_definitions(
  mib-module-test PRIVATE ACLSNMP_ENTERPRISE=32473 MIB_FOLDER="${PROJECT_SOURCE_DIR}/mibs"
                          MIB_STAND_INS="${PROJECT_SOURCE_DIR}/tests/mibs")

add_test(NAME mibs.check COMMAND ${PROJECT_SOURCE_DIR}/tests/mibs/check)
set_tests_properties(mibs.check PROPERTIES SKIP_RETURN_CODE 77)

# The agent library's functions that are made to fail or are watched.
add_room_test(mib-faults-test SOURCES MibCases.cpp MibFaultsTest.cpp LINK ${MIB_ROOMS})
mib_room_test_settings(mib-faults-test)
foreach(function calloc netsnmp_create_handler_registration netsnmp_handler_registration_free
                 netsnmp_inject_handler netsnmp_unregister_handler snmp_varlist_add_variable
                 snmp_set_var_typed_value snprint_objid)
  target_link_options(mib-faults-test PRIVATE -Wl,--wrap=${function})
endforeach()

# Without room-conversions: the test has encoders of its own.
add_room_test(mib-scalar-encoder-test SOURCES MibCases.cpp MibScalarEncoderTest.cpp
              LINK room-mib room-model acl-model platform)
mib_room_test_settings(mib-scalar-encoder-test)
target_include_directories(mib-scalar-encoder-test
                           PRIVATE ${PROJECT_SOURCE_DIR}/plugin/conversions/include)
