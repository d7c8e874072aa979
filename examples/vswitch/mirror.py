# mirror.py
from vswitch import Host, MirrorSession
workload = Host().switches["workload"]
workload.ports.create("monitor", exist_ok=True)
tap = MirrorSession("web-tap", destinations=["port:monitor"], sources_in=["port:100"], sources_out=["port:100"])
workload.ports["monitor"].mirrors[tap.id] = tap
print(workload.running_mirrors, workload.mirrors.statistics(tap.id).mirrored)
