# inventory.py
import vswitch
for switch in vswitch.Host().switches.values():
    info = switch.info
    print(f"{switch.alias}: MTU {info.mtu}, {info.active_ports} active of at most {info.max_ports} ports")
    for uplink in switch.uplinks.values():
        print(f"  uplink {uplink.name} on port {uplink.port.id}: link {uplink.link}")
    print(f"  teaming: active {list(switch.teaming.active)}, standby {list(switch.teaming.standby)}")
    for port in switch.ports.values():
        print(f"  port {port.id}: number {port.number}, VLAN {port.vlan.id}, client {port.client or '-'}")
