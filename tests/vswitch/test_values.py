"""Value types: every field both ways, what they accept and refuse, and their native records byte for byte."""

import copy
import dataclasses
import pickle
from typing import Any

import pytest
from samples import EVERY, SAMPLES

import libvswitch
import vswitch as v
from vswitch.values.base import Value

pytestmark = [pytest.mark.pure_python, pytest.mark.same_process]
raises: Any = pytest.raises

PLAIN = (str, int, bool, type(None), list, dict)


def label(one: Any) -> Any:
    return type(one).__name__


def public_values() -> Any:
    named = (getattr(v, name) for name in dir(v))
    return {one for one in named if isinstance(one, type) and issubclass(one, Value)}


def test_there_are_samples_of_every_type() -> None:
    assert set(SAMPLES) >= {one for one in public_values() if one.__module__.startswith("vswitch.values")}


def assert_plain(data: Any) -> None:
    assert type(data) in PLAIN, data
    for one in data.values() if isinstance(data, dict) else data if isinstance(data, list) else ():
        assert_plain(one)


@pytest.mark.parametrize("sample", EVERY, ids=label)
def test_the_plain_form_has_every_field_in_order_and_comes_back(sample: Any) -> None:
    plain = sample.to_dict()
    assert list(plain) == [field.name for field in dataclasses.fields(sample)]
    assert_plain(plain)
    assert type(sample).from_dict(plain) == sample


@pytest.mark.parametrize("sample", EVERY, ids=label)
def test_a_value_is_its_contents(sample: Any) -> None:
    fields = {field.name: getattr(sample, field.name) for field in dataclasses.fields(sample)}
    assert type(sample)(*fields.values()) == sample == type(sample)(**fields)
    assert hash(type(sample)(**fields)) == hash(sample)
    assert copy.deepcopy(sample) == sample == pickle.loads(pickle.dumps(sample))
    assert not hasattr(sample, "__dict__")
    for name in fields:
        with raises(dataclasses.FrozenInstanceError):
            setattr(sample, name, None)


@pytest.mark.parametrize("kind", SAMPLES, ids=lambda kind: kind.__name__)  # type: ignore[no-any-return]
def test_each_field_is_replaced_and_tells_values_apart(kind: Any) -> None:
    one, other = SAMPLES[kind]
    for field in dataclasses.fields(one):
        value = getattr(other, field.name)
        if kind is v.VlanPolicy and field.name == "trunk":
            one = one.replace(private=False)
        if kind is v.MirrorEnd:
            continue
        changed = one.replace(**{field.name: value})
        assert getattr(changed, field.name) == value
        assert (changed == one) == (getattr(one, field.name) == value)
    with raises(TypeError):
        one.replace(nothing=1)


@pytest.mark.parametrize("sample", [one for one in EVERY if hasattr(one, "to_bytes")], ids=label)
def test_the_native_record_comes_back(sample: Any) -> None:
    data = sample.to_bytes()
    kind = type(sample)
    if kind is v.VlanPolicy:
        assert kind.from_bytes(data, sample.priority or 0) == sample
    elif kind is v.MulticastGroup:
        assert kind.from_bytes(data, sample.address) == sample
    elif kind in (v.MacEntry, v.StaticEntry):
        assert kind.from_bytes(data) == sample.replace(port=None)
    else:
        assert kind.from_bytes(data) == sample
    with raises(ValueError):
        kind.from_bytes(data[:3])


# The record of each type, and the field of the record for each of the value's: other people's names for the same bytes.
RECORDS: dict[type[Any], tuple[str, dict[str, str]]] = {
    v.SecurityPolicy: ("VSPropSecurity", {}),
    v.MacLearning: ("VSPMACLearning", {"limit": "macLimit", "at_limit": "macLimitPolicy"}),
    v.SwitchMacLearning: ("VSPropMACLearning", {"aging_time": "agingTime", "limit": "macLimit"}),
    v.HostMacLearning: ("VSMACLearningGlobalProps", {"aging_time": "agingTime", "limit": "macLimit"}),
    v.MacEntry: (
        "VSMACEntry",
        {"mac": "macAddress", "type": "macAddrType", "number": "portID", "vlan": "vid", "vni": "vni", "age": "elapsed"}
        | {"moves": "macMove"},
    ),
    v.StaticEntry: (
        "VSStaticLEEntry",
        {"mac": "macAddress", "type": "macAddrType", "number": "portID", "vni": "vni"},
    ),
    v.MacStatistics: (
        "VSPMACLearningStats",
        {"learned": "numMACsLearned", "allowed_unlearned": "noLearningAllowedPkts", "moved": "numMACsMoved"}
        | {"dropped_unlearned": "noLearningDroppedPkts"},
    ),
    v.MacSummary: (
        "VSMACLearningSwitchInfo",
        {"aging_time": "agingTime", "limit": "macLimit", "learning_ports": "numLearningPorts"}
        | {"learned": "numMACsLearned", "team_learned": "teamNumMACsLearned", "ports_at_limit": "noOfPortsMACLimitHit"}
        | {"team_allowed_at_port_limit": "teamAllowedPktsWithPortLimit", "sink_ports": "numSinkPorts"}
        | {"sink_and_flooding_ports": "numSinkAndFloodingPorts"},
    ),
    v.Statistics: (
        "qel_HNQPortStatistics",
        {
            f"{what}_{way}_{cast}": f"{short}{way.title()}{cast.title()}"
            for what, short in (("packets", "pkts"), ("bytes", "bytes"))
            for way in ("in", "out")
            for cast in ("unicast", "multicast", "broadcast", "dropped", "exception")
            if what == "packets" or cast not in ("dropped", "exception")
        },
    ),
    v.Announcements: ("VSRARPStats", {"packets": "rarpPktsSent", "longest": "maxRARPTime", "time": "rarpTime"}),
    v.ServicePort: (
        "VSServicePortTeamingStats",
        {"sent": "txFromSrvPort", "sent_own_policy": "txUsingSrvPortFRP", "sent_source_policy": "txUsingPktSrcPortFRP"}
        | {"errors": "txErrors", "received": "rxToSrvPort", "received_override": "rxRpfOverride"},
    ),
    v.SwitchInfo: (
        "VSInfo",
        {"mtu": "mtu", "active_ports": "activePorts", "max_ports": "maxPorts", "min_vlan": "minValidVlan"}
        | {"max_vlan": "maxValidVlan", "sink_ports": "numSinkPorts", "flags": "flags"},
    ),
    v.PortStatus: (
        "qel_HNQPortStatus",
        {"flags": "flags", "no_passthrough_reason": "noPassthruReason", "number": "portID", "client": "displayStr"},
    ),
    v.LinkStatus: ("qel_LinkStatus", {"state": "state", "speed": "speed", "duplex": "duplex"}),
    v.ResourcePool: (
        "qel_PortsetResPoolCfg",
        {"shares": "shares", "limit": "limit", "reservation": "reservation", "queue_depth": "queueDepth"},
    ),
    v.TeamingPolicy: (
        "VSTeamPolicy",
        {"load_balance": "loadBalance", "criteria": "linkCriteria", "flags": "flags", "percent_error": "percentError"}
        | {"full_duplex": "fullDuplex", "speed": "speed"},
    ),
    v.NamedTeaming: (
        "LSTeamPolicy",
        {"name": "name", "load_balance": "loadBalance", "criteria": "linkCriteria", "flags": "flags"},
    ),
    v.EthernetFilter: ("VSExtraEthFilter", {"flags": "flags"}),
    v.PrivateVlan: (
        "VSPvlanMapEntry",
        {"primary": "primaryVID", "secondary": "secondaryVID", "type": "pvlanType"},
    ),
    v.MirrorStatistics: (
        "VSDVMirrorSessionStats",
        {"name": "name", "copies": "mirrorPktCnt", "copies_failed": "mirrorPktFailCnt", "mirrored": "mirroredPkts"}
        | {"discarded": "discardedPkts", "failed": "failedPkts"},
    ),
}


@pytest.mark.parametrize("kind", RECORDS, ids=lambda kind: kind.__name__)  # type: ignore[no-any-return]
def test_the_bytes_are_the_record_s_fields(kind: Any) -> None:
    name, fields = RECORDS[kind]
    for sample in SAMPLES[kind]:
        record = getattr(libvswitch, name).from_bytes(sample.to_bytes())
        for field, member in fields.items():
            told = getattr(record, member)
            assert (told.rstrip("\0") if isinstance(told, str) else told) == getattr(sample, field), (field, told)


def test_a_mirror_table_is_laid_out_as_the_library_reads_it() -> None:
    session = SAMPLES[v.MirrorSession][0]
    buffer = libvswitch.buffer(session.to_bytes())
    table = libvswitch.cell("DVMirrorSessionTable **", buffer).value
    assert (table.version, table.numSessions, table.numEntities) == (4, 1, 9)
    assert (table.numFilterRules, table.numFilterIPs) == (2, 2)
    native = table[0]
    assert (native.sid, native.dname, native.snapLen, native.samplingRate, native.greKey) == ("tap", "Tap", 128, 2, 4)
    assert (native.encapVlan, native.wildIn, native.wildOut, native.uplinkFilter, native.encapType) == (30, 4, 8, 4, 2)
    assert (native.erspanID, native.erspanCOS, native.erspanGra, native.flags) == (5, 6, 3, 2 | 32)
    assert (native.numDstEntities, native.numSrcInEntities, native.numSrcOutEntities) == (6, 1, 2)
    entities = [entity.get_entity() for entity in table.entities(native)]
    assert entities == ["a", "b", "192.0.2.1", "2001:db8::1", "7", "02:00:00:00:00:01", "10", "c", "d"]


# ---- what is accepted ------------------------------------------------------------------------------------------------


def test_iterables_texts_and_addresses_are_brought_to_one_form() -> None:
    assert v.TeamingPolicy(["a"], iter(["b"])).standby == ("b",)
    assert v.EthernetFilter(addresses=["01-0B-5E-00-00-01"]).addresses == ("01:0b:5e:00:00:01",)
    assert v.MirrorSession("t", sources_in=["ip:2001:DB8:0::1"]).sources_in[0].value == "2001:db8::1"
    assert str(v.MirrorEnd.of("vlan:10")) == "vlan:10"
    assert v.MirrorRule(sources=["10.0.0.1", "::ffff:10.0.0.1/96"]).sources == ("10.0.0.1/32", "::ffff:10.0.0.1/96")
    assert v.MirrorSession("t", snap_length=0) == v.MirrorSession("t", snap_length=0xFFFFFFFF) == v.MirrorSession("t")
    assert v.VlanPolicy.trunk_of(10, "12-14", (20, 21)).trunk == ((10, 10), (12, 14), (20, 21))
    assert v.VlanPolicy.trunk_of().trunk == ()
    assert v.VlanPolicy.access(7) == v.VlanPolicy(7)
    assert v.VlanPolicy.secondary(7) == v.VlanPolicy(7, private=True)
    assert v.VlanPolicy.from_dict({"trunk": [5, "7-9", [10, 12]]}).trunk == ((5, 5), (7, 9), (10, 12))


def test_the_plain_forms_of_the_design() -> None:
    assert v.VlanPolicy.trunk_of((10, 19), 30).to_dict()["trunk"] == ["10-19", "30"]
    assert v.TeamingPolicy(load_balance=v.LoadBalance.FO_EXPLICIT).to_dict()["load_balance"] == "fo-explicit"
    assert v.TeamingPolicy(load_balance=77).to_dict()["load_balance"] == 77
    unknown = v.TeamingPolicy(flags=v.TeamFlag.REVERSE | 1 << 12)
    assert unknown.to_dict()["flags"] == ["reverse", 4096]
    assert v.TeamingPolicy.from_dict({"flags": "rolling"}).flags == v.TeamFlag.ROLLING
    assert v.MirrorSession("t", destinations=["port:monitor"]).to_dict()["destinations"] == ["port:monitor"]
    assert v.PropertyValue("k", b"B12", v.Scope.GLOBAL).to_dict()["data"] == "B12"
    assert v.PropertyValue("k", b"B12 ", v.Scope.GLOBAL).to_dict()["data"] == {"base64": "QjEyIA=="}
    assert v.PropertyValue.from_dict({"key": "k", "data": {"int": 300, "size": 2}, "scope": "host"}).data == b"\x2c\x01"


@pytest.mark.parametrize("kind", SAMPLES, ids=lambda kind: kind.__name__)  # type: ignore[no-any-return]
def test_a_wrong_type_names_its_field(kind: Any) -> None:
    one = SAMPLES[kind][0]
    for field in dataclasses.fields(one):
        with raises(TypeError, match=f"^{kind.__name__}.{field.name}: "):
            one.replace(**{field.name: 1.5})


@pytest.mark.parametrize(
    "make",
    [
        lambda: v.VlanPolicy(trunk=(), private=True),
        lambda: v.VlanPolicy.trunk_of("a-b"),
        lambda: v.VlanPolicy.trunk_of((1, 2, 3)),  # type: ignore[arg-type]
        lambda: v.TeamingPolicy([f"u{number}" for number in range(33)]),
        lambda: v.NamedTeaming("n", ["u"] * 20, ["u"] * 13),
        lambda: v.TeamingPolicy(["a\0b"]),
        lambda: v.EthernetFilter(addresses=["02:00:00:00:00"]),
        lambda: v.MirrorSession("t", flags=v.MirrorFlag.DISABLED),
        lambda: v.MirrorEnd(v.MirrorEndType.IP, "192.0.2.256"),
        lambda: v.MirrorEnd.of("switch:x"),
        lambda: v.MirrorEnd.of("vlan:x"),
        lambda: v.MirrorRule(sources=["10.0.0.0/33"]),
        lambda: v.MulticastGroup("fe80::1%eth0", 2, 0, (), 0, 0),
        lambda: v.TeamingPolicy.from_dict({"load_balance": "fastest"}),
        lambda: v.PropertyValue.from_dict({"key": "k", "data": {"int": 1, "size": 3}, "scope": "host"}),
    ],
)
def test_a_wrong_text_or_combination_is_a_value_error(make: Any) -> None:
    with raises(ValueError):
        make()


def test_texts_are_no_sequences() -> None:
    with raises(TypeError, match="TeamingPolicy.active: a sequence is wanted, not 'nic4'"):
        v.TeamingPolicy("nic4")


def test_unknown_and_missing_members() -> None:
    with raises(v.DocumentError) as unknown:
        v.VlanPolicy.from_dict({"vlna": 1, "priorty": 2})
    assert (unknown.value.path, str(unknown.value)) == ("vlna", "vlna: no such member")
    with raises(v.DocumentError, match="^priorty: no such member; did you mean 'priority'\\?$"):
        v.VlanPolicy.from_dict({"priorty": 2})
    with raises(v.DocumentError, match="^name: must be there$"):
        v.NamedTeaming.from_dict({})
    with raises(v.DocumentError) as nested:
        v.MirrorSession.from_dict({"id": "t", "rules": [{"protocl": 6}]})
    assert nested.value.path == "rules/protocl"


def test_sums_and_differences_of_statistics() -> None:
    later, earlier = v.Statistics(*range(20, 36)), v.Statistics(*range(16))
    assert list((later - earlier).to_dict().values()) == [20] * 16
    assert (earlier.packets_in, earlier.bytes_in, earlier.packets_out, earlier.bytes_out) == (6, 9, 24, 27)
    with raises(TypeError):
        later - 1  # type: ignore[operator]


def test_flags_of_a_port_s_status() -> None:
    status = v.PortStatus(v.PortFlag.INUSE | v.PortFlag.LINKUP, 0, 1, "web")
    assert (status.in_use, status.link_up, status.blocked) == (True, True, False)


def test_a_property_as_number_text_and_typed_value() -> None:
    mtu = v.PropertyValue(v.PropertyKey.VSPROP_MTU.value, b"\x28\x23\0\0", v.Scope.GLOBAL)
    assert (mtu.value, int(mtu), bytes(mtu)) == (9000, 9000, b"\x28\x23\0\0")
    assert str(v.PropertyValue("x", b"B\xff2", v.Scope.HOST)) == "B\ufffd2"
    assert v.PropertyValue("x", b"raw", v.Scope.HOST).value == b"raw"
    vlan = v.PropertyValue(v.PropertyKey.VSPROP_PORT_VLAN.value, v.VlanPolicy(5).to_bytes(), v.Scope.PORT)
    assert vlan.value == v.VlanPolicy(5)
