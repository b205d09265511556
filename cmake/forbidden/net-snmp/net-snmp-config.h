#error "this room may not use the agent library: only platform/snmp and plugin/mib do"
