set(STATE_ROOMS room-model room-codef room-agent acl-model platform)
add_room_test(model-test SOURCES ModelIndexTest.cpp ModelEntriesTest.cpp
              ModelColumnsTest.cpp ModelMibTest.cpp
              LINK ${STATE_ROOMS})
add_room_test(codef-test SOURCES MirrorTest.cpp CodefTest.cpp CodefInputTest.cpp
              CodefTraceTest.cpp
              LINK ${STATE_ROOMS})
add_room_test(agent-test SOURCES AgentRuleSmTest.cpp AgentRuleSmTraceTest.cpp
              AgentTypeSmTest.cpp AgentMibSmTest.cpp AgentMibSmEndTest.cpp
              AgentRootTest.cpp AgentChainTest.cpp AgentObserverTest.cpp
              AgentOrderTest.cpp
              LINK ${STATE_ROOMS})
