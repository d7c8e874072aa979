"""Who reaches whom: sends a frame from each client to each other one of its switch, on a copy of the host that
VSWITCH_HOST names, and says why one does not come."""

from vswitch.simulated import SimulatedHost

host = SimulatedHost.current().fork()
ports = [endpoint for endpoint in host.endpoints() if isinstance(endpoint, tuple)]
addresses = {port: host.client(port).mac for port in ports}
for source in ports:
    for target in ports:
        addressed, own = addresses[target], addresses[source]
        if source == target or source[0] != target[0] or addressed is None or own is None:
            continue
        frame = bytes.fromhex(addressed.replace(":", "") + own.replace(":", "") + "0800") + bytes(46)
        result = host.explain(source, frame)
        if result.to(target):
            print("/".join(source), "reaches", "/".join(target))
        else:
            reasons = ", ".join(drop.reason.value for drop in result.drops) or "it went elsewhere"
            print("/".join(source), "does not reach", "/".join(target) + ":", reasons)
