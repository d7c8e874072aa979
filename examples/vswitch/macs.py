# macs.py
import vswitch
workload = vswitch.Host().switches["workload"]
for entry in workload.mac_table:
    print(entry.mac, entry.vlan, entry.type, entry.port, entry.age)
for port in workload.ports.values():
    print(port.id, port.statistics.packets_in, port.statistics.packets_out, port.mac_statistics.moved)
