set(STATE_ROOMS room-model room-codef room-agent acl-model platform)
add_room_test(model-test SOURCES model_index_test.cpp model_entries_test.cpp
              model_columns_test.cpp model_mib_test.cpp
              LINK ${STATE_ROOMS})
add_room_test(codef-test SOURCES mirror_test.cpp codef_test.cpp codef_input_test.cpp
              codef_trace_test.cpp
              LINK ${STATE_ROOMS})
add_room_test(agent-test SOURCES agent_rule_sm_test.cpp agent_rule_sm_trace_test.cpp
              agent_type_sm_test.cpp agent_mib_sm_test.cpp agent_mib_sm_end_test.cpp
              agent_root_test.cpp agent_chain_test.cpp agent_observer_test.cpp
              agent_order_test.cpp
              LINK ${STATE_ROOMS})
