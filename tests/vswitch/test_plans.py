"""Plans: what differs, in which order it is made, what is refused and where, and what an export says."""

import json
import os
from typing import Any

import pytest
from workspace import SOURCE

import vswitch
from vswitch import Host
from vswitch.desired.managed import afterwards, managed

pytestmark = pytest.mark.pure_python

GOLDEN = SOURCE / "tests/vswitch/golden"


def golden(name: str, text: str) -> None:
    """Compares with a file; VSWITCHPY_GOLDEN=1 writes it anew."""
    path = GOLDEN / name
    if os.environ.get("VSWITCHPY_GOLDEN"):
        path.write_text(text)
    assert text == path.read_text()


def order(plan: vswitch.Plan) -> str:
    return "".join(
        f"{operation.number} {operation.action} {operation.path}: {', '.join(name for name, _ in operation.calls)}\n"
        for operation in plan
    )


def changed(document: str | dict[str, Any], **options: Any) -> str:
    """The diff, after it was applied and found to be all."""
    host = Host()
    plan = host.plan(document, **options)
    result = plan.apply()
    assert result.changed == bool(plan) and result.verified
    again = host.plan(document, **options)
    assert not again and again.diff() == "" and len(again) == 0, again.diff()
    return plan.diff()


def lab(text: str) -> str:
    return changed("format: 1\nswitches: {lab: %s}" % text)


def scenario() -> Any:
    import sys

    sys.path.insert(0, str(SOURCE / "tests/vswitch"))
    import desired_scenario

    return desired_scenario


def test_diff_and_order_of_a_large_change() -> None:
    made = scenario()
    host = made.prepare()
    plan = host.plan(made.WANTED)
    golden("large.diff", plan.diff())
    golden("large.order", order(plan))
    numbers = [operation.number for operation in plan]
    assert numbers == list(range(1, len(plan) + 1))


def test_the_diff_of_the_documentation() -> None:
    host = Host()
    workload = host.switches["workload"]
    workload.properties["org.example.rack"] = "B12"
    host.switches.create("old", id="old-id")
    workload.ports.create("monitor")
    plan = host.plan(
        """
        format: 1
        switches:
          production: {id: 5f-2a-production, mtu: 9000, ports: {web-1: {vlan: 10}}}
          workload:
            mtu: 1500
            mirrors: {tap: {destinations: [port:monitor], sources_in: [port:100]}}
            properties: {org.example.rack: B14}
            ports: {103: {mac_learning: null}}
          old: null
        """
    )
    golden("documentation.diff", plan.diff())
    golden("documentation.order", order(plan))
    plan.apply()
    assert not host.plan(
        {"format": 1, "switches": {"old": None, "workload": {"ports": {"103": {"mac_learning": None}}}}}
    )


def test_a_default_that_is_written_is_foreseen() -> None:
    host = Host()
    document = {"format": 1, "switches": {"lab": {"ports": {"a": {"mac_changes": True}}}}}
    plan = host.plan(document)
    foreseen = managed(document, afterwards(host.export(), plan))
    plan.apply()
    assert foreseen == managed(document, host.export())
    assert foreseen["switches"]["lab"]["ports"]["a"] == {"mac_changes": True}


def test_plans_as_plain_data() -> None:
    plan = Host().plan("format: 1\nswitches: {lab: {mtu: 9000, ports: {p: {vlan: 3, properties: {a: {hex: 'ff'}}}}}}")
    data = json.loads(json.dumps(plan.to_dict()))
    assert list(data) == ["format", "id", "operations"] and data["format"] == 1
    assert len(data["id"]) == 16 and int(data["id"], 16) >= 0
    import hashlib

    text = json.dumps(data["operations"], sort_keys=True)
    assert data["id"] == hashlib.sha256(text.encode()).hexdigest()[:16]
    copy = vswitch.Plan.from_dict(data)
    assert copy == plan and copy.id == plan.id and copy.diff() == plan.diff() and hash(copy) == hash(plan)
    assert list(data["operations"][0]) == ["number", "action", "path", "calls", "undo", "before", "after"]
    assert copy.apply().changed
    none: list[dict[str, Any]] = [{}, {"format": 2}, {"format": 1, "operations": [{}]}, {"format": 1}]
    for wrong in none:
        with pytest.raises(vswitch.DocumentError):
            vswitch.Plan.from_dict(wrong)
    assert plan.operations == tuple(plan) and plan[0].number == 1 and bool(plan)


REFUSED = [
    ("{management: {id: x}}", "DocumentError", "switches/management/id", "switches/management/id: cannot change"),
    (
        "{management: {class: x}}",
        "DocumentError",
        "switches/management/class",
        "switches/management/class: cannot change",
    ),
    (
        "{management: {persistent: false}}",
        "DocumentError",
        "switches/management/persistent",
        "switches/management/persistent: cannot change",
    ),
    (
        "{management: {flags: 1}}",
        "DocumentError",
        "switches/management/flags",
        "switches/management/flags: cannot change",
    ),
    (
        "{management: {version: dvs-60}}",
        "DocumentError",
        "switches/management/version",
        "switches/management/version: cannot be smaller than dvs-70",
    ),
    (
        "{management: {ports: {1: {external_id: x}}}}",
        "DocumentError",
        "switches/management/ports/1/external_id",
        "switches/management/ports/1/external_id: cannot change",
    ),
    ("{management: null}", "Busy", "switches/management", "port '1' has the client 'kernel0'"),
    (
        "{workload: {ports: {100: null}}}",
        "Busy",
        "switches/workload/ports/100",
        "port '100' has the client 'web0.eth0'",
    ),
    (
        "{workload: {ports: {exact: true, 101: {}, 102: {}, 103: {}}}}",
        "Busy",
        "switches/workload/ports/100",
        "port '100' has the client 'web0.eth0'",
    ),
    ("{exact: true, workload: {}}", "Busy", "switches/management", "port '1' has the client 'kernel0'"),
    (
        "{workload: {uplinks: [nic4]}, management: {uplinks: [nic0, nic4]}}",
        "DocumentError",
        "switches/management/uplinks/1",
        "switches/management/uplinks/1: the uplink 'nic4' is listed on switch 'workload' too",
    ),
    (
        "{workload: {uplinks: [a, b, a]}}",
        "DocumentError",
        "switches/workload/uplinks/2",
        "switches/workload/uplinks/2: the uplink 'a' stands twice",
    ),
    (
        "{workload: {ports: {uplink-1: {}}}}",
        "DocumentError",
        "switches/workload/ports/uplink-1",
        "switches/workload/ports/uplink-1: is the port of the uplink 'uplink-a': use the member 'uplink_ports'",
    ),
    (
        "{workload: {uplink_ports: {uplink-x: {}}}}",
        "DocumentError",
        "switches/workload/uplink_ports/uplink-x",
        "switches/workload/uplink_ports/uplink-x: no uplink 'uplink-x'; did you mean 'uplink-a'?",
    ),
    (
        "{lab: {connected: false, ports: {p: {static_addresses: [{mac: 02:00:00:00:00:09}]}}}}",
        "DocumentError",
        "switches/lab/ports/p/static_addresses",
        "switches/lab/ports/p/static_addresses: the switch is not connected",
    ),
]


def test_what_cannot_work_is_refused_with_the_path() -> None:
    host = Host()
    before = host.export()
    told = ""
    for text, kind, path, message in REFUSED:
        with pytest.raises(vswitch.Error) as caught:
            host.plan(f"format: 1\nswitches: {text}")
        assert (type(caught.value).__name__, caught.value.path, str(caught.value)) == (kind, path, message)
        told += f"{kind} {path}: {message}\n"
    golden("refused", told)
    assert host.export() == before


def test_what_somebody_names_does_not_go() -> None:
    host = Host()
    workload = host.switches["workload"]
    workload.ports["103"].teaming_override = "uplink-b"
    with pytest.raises(vswitch.Busy) as caught:
        host.plan("format: 1\nswitches: {workload: {uplinks: [uplink-a]}}")
    assert caught.value.path == "switches/workload/ports/103/teaming_override"
    assert str(caught.value) == "switches/workload/ports/103/teaming_override names the uplink 'uplink-b'"
    # Mentioned, it is released first; a value that names what is still missing is written at its place.
    plan = host.plan(
        "format: 1\nswitches: {workload: {uplinks: [uplink-a, nic4], ports: {103: {teaming_override: nic4}}}}"
    )
    assert [(one.action, one.path.rpartition("/")[2]) for one in plan] == [
        ("clear", "teaming_override"),
        ("set", "uplinks"),
        ("set", "teaming_override"),
    ]
    assert plan.diff() == (
        'switches/workload:\n  ~ uplinks: ["uplink-a", "uplink-b"] -> ["uplink-a", "nic4"]\n'
        'switches/workload/ports/103:\n  ~ teaming_override: "uplink-b" -> "nic4"\n'
    )
    plan.apply()
    assert workload.ports["103"].teaming_override == "nic4"


def test_private_vlans_and_policies_that_go() -> None:
    lab(
        "{uplinks: [a, b], private_vlans: [{primary: 5, secondary: 5, type: promisc},"
        " {primary: 5, secondary: 6, type: isolated}],"
        " teaming_policies: {gold: {active: [a]}}, ports: {p: {vlan: {id: 6, private: true}, teaming_policy: gold}}}"
    )
    host = Host()
    with pytest.raises(vswitch.Busy, match="switches/lab/ports/p/vlan names the secondary VLAN '6'"):
        host.plan("format: 1\nswitches: {lab: {private_vlans: null}}")
    with pytest.raises(vswitch.Busy, match="switches/lab/ports/p/teaming_policy names the policy 'gold'"):
        host.plan("format: 1\nswitches: {lab: {teaming_policies: {gold: null}}}")
    with pytest.raises(vswitch.Busy, match="switches/lab/teaming_policies/gold names the uplink 'a'"):
        host.plan("format: 1\nswitches: {lab: {uplinks: [b]}}")
    lab("{uplinks: [b], private_vlans: null, teaming_policies: {gold: {active: [b]}},"
        " ports: {p: {vlan: 7, teaming_policy: gold}}}")
    lab("{teaming_policies: {exact: true}, ports: {p: {vlan: null, teaming_policy: null}}}")
    assert host.export(only=["lab"])["switches"]["lab"]["ports"] == {"p": {}}


def test_uplinks_change_hands() -> None:
    host = Host()
    # A swap: the first switch is first set without what it gives up.
    plan = host.plan("format: 1\nswitches: {workload: {uplinks: [nic0]}, management: {uplinks: [uplink-a]}}")
    assert [one.path for one in plan] == [
        "switches/workload/uplinks",
        "switches/management/uplinks",
        "switches/workload/uplinks",
    ]
    plan.apply()
    assert (
        list(host.switches["workload"].uplinks) == ["nic0"]
        and host.switches["workload"].uplinks["nic0"].nic is not None
    )
    # Given up before it is taken.
    plan = host.plan("format: 1\nswitches: {management: {uplinks: [nic0]}, workload: {uplinks: [nic4]}}")
    assert [one.path for one in plan] == ["switches/workload/uplinks", "switches/management/uplinks"]
    plan.apply()
    assert [name for name, _ in host.plan("format: 1\nswitches: {workload: {uplinks: [nic4, x, y]}}")[0].calls] == [
        "VSDVS_AddSwitchUplinkPort",
        "VSDVS_AddSwitchUplinkPort",
    ]
    lab("{uplinks: [p, q, r]}")
    for wanted, call in (
        ("[p, r]", "VSDVS_RemoveSwitchUplinkPort"),
        ("[r, q, p]", "VSDVS_SetSwitchUplinkPorts"),
        ("[]", "VSDVS_ClearSwitchUplinkPorts"),
    ):
        document = f"format: 1\nswitches: {{lab: {{uplinks: {wanted}}}}}"
        assert host.plan(document)[0].calls[0][0] == call
        changed(document)


def test_collections_merge_settings_replace_and_null_removes() -> None:
    assert lab("{ports: {a: {security: {promiscuous: false, mac_changes: false}}, b: {}}, properties: {k: v, l: w}}")
    assert lab("{ports: {a: {security: {mac_changes: false}}}, properties: {k: x}}") == (
        "switches/lab/properties:\n"
        '  ~ k: "v" -> "x"\n'
        "switches/lab/ports/a:\n"
        '  ~ security: {"promiscuous": false, "mac_changes": false} -> {"mac_changes": false}\n'
    )
    assert lab("{ports: {b: null, c: null}, properties: {l: null, m: null}}") == (
        'switches/lab/properties:\n  - l: "w"\nswitches/lab/ports/b: remove\n'
    )
    assert lab("{ports: {exact: true, z: {}}}") == "switches/lab/ports/z: create\nswitches/lab/ports/a: remove\n"
    assert lab("{properties: {exact: true}, mtu: 1500}") == 'switches/lab/properties:\n  - k: "x"\n'


def test_exact_of_the_caller_goes_before_the_document_s() -> None:
    host = Host()
    host.switches.create("lab", max_ports=4).ports.create("p")
    text = "format: 1\nswitches: {exact: %s, management: {}, workload: {}, lab: {ports: {}}}"
    assert not host.plan(text % "true", exact=False)
    assert [one.path for one in host.plan(text % "false", exact=True)] == ["switches/lab/ports/p"]
    untyped: Any = host
    with pytest.raises(TypeError):
        untyped.plan(text % "true", exact=1)


def test_defaults_count_as_equal_only_where_nothing_is_inherited() -> None:
    host = Host()
    lab("{uplinks: [a, b], ports: {p: {}}}")
    # Nowhere written, and the default.
    for members in (
        "mtu: 1500",
        "multicast_mode: legacy",
        "rcf_type: cbpf",
        "private_vlans: []",
        "teaming: {}",
        "teaming: {active: [a, b]}",
        "ports: {p: {vlan: 0, security: {}, blocked: false, teaming: {}, mac_learning: {},"
        " mac_changes: true, filter: {}, resources: {}}}",
    ):
        assert not host.plan(f"format: 1\nswitches: {{lab: {{{members}}}}}"), members
    # The host's settings are inherited, whatever they are.
    assert [
        one.path
        for one in host.plan(
            "format: 1\nswitches: {lab: {mac_learning: {}, static_mac_allow: true, learn_static: false}}"
        )
    ] == ["switches/lab/mac_learning", "switches/lab/static_mac_allow", "switches/lab/learn_static"]
    # So is the switch's teaming by its ports, as soon as there is one, also by this plan.
    host.switches["lab"].teaming = vswitch.TeamingPolicy(("b",), ("a",))
    assert [
        one.path
        for one in host.plan("format: 1\nswitches: {lab: {ports: {p: {teaming: {active: [b], standby: [a]}}}}}")
    ] == ["switches/lab/ports/p/teaming"]
    assert not host.plan("format: 1\nswitches: {lab: {ports: {p: {teaming: null}}}}")
    wanted = "format: 1\nswitches: {lab: {%s ports: {p: {teaming: {}}}}}"
    assert [one.path for one in host.plan(wanted % "")] == ["switches/lab/ports/p/teaming"]
    assert [one.path for one in host.plan(wanted % "teaming: null,")] == ["switches/lab/teaming"]
    changed("format: 1\nswitches: {lab: {teaming: null, ports: {p: {teaming: {}}}}}")
    assert "teaming" not in host.export(only=["lab"])["switches"]["lab"]["ports"]["p"]


def test_a_teaming_policy_without_uplinks_has_all_of_them() -> None:
    lab("{uplinks: [a, b], teaming: {load_balance: fo-explicit}, ports: {p: {teaming: {flags: []}}}}")
    switch = Host().switches["lab"]
    assert switch.teaming == vswitch.TeamingPolicy(("a", "b"), load_balance=vswitch.LoadBalance.FO_EXPLICIT)
    assert switch.ports["p"].teaming.active == ("a", "b")


def test_mac_learning_and_mac_changes_share_a_property() -> None:
    lab("{ports: {p: {mac_learning: {learning: true}, mac_changes: false}}}")
    port = Host().switches["lab"].ports["p"]
    assert (port.mac_learning.learning, port.mac_changes) == (True, False)
    assert lab("{ports: {p: {mac_learning: null}}}").endswith('  - mac_learning: {"learning": true}\n')
    assert (port.mac_learning, port.mac_changes) == (vswitch.MacLearning(), False)
    assert lab("{ports: {p: {mac_changes: null}}}")
    assert Host().export(only=["lab"])["switches"]["lab"]["ports"] == {"p": {}}
    lab("{ports: {p: {mac_changes: true, mac_learning: {limit: 5}}}}")
    assert (port.mac_learning.limit, port.mac_changes) == (5, True)


def test_volatile_values() -> None:
    host = Host()
    workload = host.switches["workload"]
    workload.properties.set("vspare", "now", volatile=True)
    workload.properties.set("VSPROP_MTU", 2000, volatile=True)
    text = "format: 1\nswitches: {workload: {mtu: %s}}"
    assert not host.plan(text % 9000)
    assert workload.mtu == 2000
    plan = host.plan(text % 1600)
    assert plan.diff() == "switches/workload:\n  ~ mtu: 9000 -> 1600\n"
    plan.apply()
    assert workload.mtu == 1600
    assert "vspare" not in json.dumps(host.export())
    # A property that is wanted as volatile is compared with what is in effect.
    text = "format: 1\nswitches: {workload: {properties: {vspare: {text: %s, volatile: true}}}}"
    assert not host.plan(text % "now")
    assert host.plan(text % "then").diff() == (
        "switches/workload/properties:\n"
        '  ~ vspare: {"text": "now", "volatile": true} -> {"text": "then", "volatile": true}\n'
    )
    changed(text % "then")
    assert workload.properties["vspare"].volatile
    changed("format: 1\nswitches: {workload: {properties: {vspare: null}}}")
    assert "vspare" not in workload.properties


def test_properties_keep_and_change_owners() -> None:
    host = Host()
    lab("{properties: {a: {text: x, owner: me}}, host_properties: {h: {int: -2, size: 2}},"
        " ports: {p: {properties: {b: {base64: 'AAE='}}}}}")
    switch = host.switches["lab"]
    assert switch.properties.get("a", owner="me").data == b"x"
    assert switch.host_properties["h"].data == b"\xfe\xff"
    assert switch.ports["p"].properties["b"].data == b"\0\1"
    exported = host.export(only=["lab"])["switches"]["lab"]
    assert exported["properties"] == {"a": {"text": "x", "owner": "me"}}
    assert exported["host_properties"] == {"h": {"base64": "/v8="}}
    changed({"format": 1, "switches": {"lab": {"properties": {"a": "y"}}}})
    assert host.export(only=["lab"])["switches"]["lab"]["properties"] == {"a": {"text": "y", "owner": "me"}}
    changed({"format": 1, "switches": {"lab": {"properties": {"a": {"text": "y", "owner": "you"}}}}})
    assert host.export(only=["lab"])["switches"]["lab"]["properties"] == {"a": {"text": "y", "owner": "you"}}
    changed({"format": 1, "switches": {"lab": {"properties": {"a": None}}}})


def test_addresses_by_hand() -> None:
    lab("{ports: {p: {static_addresses: [{mac: 02-00-00-00-00-0A, vlan: 3}, {mac: 02:00:00:00:00:0b}]}}}")
    port = Host().switches["lab"].ports["p"]
    assert [(entry.mac, entry.vlan) for entry in port.mac_table.entries(vswitch.MacType.USER)] == [
        ("02:00:00:00:00:0a", 3),
        ("02:00:00:00:00:0b", 0),
    ]
    assert lab("{ports: {p: {static_addresses: [{mac: 02:00:00:00:00:0c}, {mac: 02:00:00:00:00:0b}]}}}") == (
        "switches/lab/ports/p:\n"
        '  ~ static_addresses: [{"mac": "02:00:00:00:00:0a", "vlan": 3}, {"mac": "02:00:00:00:00:0b"}]'
        ' -> [{"mac": "02:00:00:00:00:0b"}, {"mac": "02:00:00:00:00:0c"}]\n'
    )
    lab("{ports: {p: {static_addresses: []}}}")
    assert len(port.mac_table) == 0


def test_mirror_sessions_move_between_tables() -> None:
    host = Host()
    lab("{mirrors: {one: {destinations: ['port:p']}}, ports: {p: {mirrors: {two: {name: Two}}}}}")
    plan = host.plan(
        "format: 1\nswitches: {lab: {mirrors: {one: null, two: {name: Two}},"
        " ports: {p: {mirrors: {two: null, three: {}}}}}}"
    )
    assert [one.calls[0][0] for one in plan] == ["VSDVS_SetDVMirrorSessions", "VSDVS_SetDVMirrorSessions"] or plan
    assert lab("{mirrors: {one: {name: again}}}") == (
        'switches/lab/mirrors:\n  ~ one: {"destinations": ["port:p"]} -> {"name": "again"}\n'
    )
    assert [name for name, _ in host.plan("format: 1\nswitches: {lab: {mirrors: {four: {}}}}")[0].calls] == [
        "VSDVS_AppendDVMirrorSessions"
    ]
    assert [name for name, _ in host.plan("format: 1\nswitches: {lab: {mirrors: {one: null}}}")[0].calls] == [
        "VSDVS_ClearDVMirrorSessions"
    ]


def test_a_zombie_is_revived() -> None:
    host = Host()
    workload = host.switches["workload"]
    workload.ports.remove("100", force=True)
    assert "100" not in workload.ports
    changed("format: 1\nswitches: {workload: {ports: {100: {connect_id: 12, vlan: 5}}}}")
    assert (workload.ports["100"].connect_id, workload.ports["100"].client) == (12, "web0.eth0")


def test_connecting_and_disconnecting() -> None:
    assert lab("{connected: false, max_ports: 9, ports: {p: {vlan: 3}}}") == (
        "switches/lab: create\n  + connected: false\n  + max_ports: 9\nswitches/lab/ports/p: create\n  + vlan: 3\n"
    )
    host = Host()
    assert not host.switches["lab"].connected
    assert host.export(only=["lab"])["switches"]["lab"]["connected"] is False
    assert (
        lab("{connected: true, max_ports: 20}")
        == "switches/lab:\n  ~ connected: false -> true\n  ~ max_ports: 9 -> 20\n"
    )
    lab("{connected: false}")
    changed("format: 1\nswitches: {lab: null}")
    assert "lab" not in host.switches


def test_a_switch_of_the_run_counts_what_is_written_as_stored() -> None:
    lab("{persistent: false, mtu: 2000, ports: {p: {vlan: 4}}}")
    host = Host()
    host.switches["lab"].properties.set("k", "v", volatile=True)
    exported = host.export(only=["lab"])["switches"]["lab"]
    assert exported["persistent"] is False and exported["mtu"] == 2000
    assert exported["properties"] == {"k": "v"} and exported["ports"] == {"p": {"vlan": 4}}
    assert not host.plan(host.export())


def test_identifiers_follow_from_aliases() -> None:
    lab("{}")
    import uuid

    assert Host().switches["lab"].id == str(uuid.uuid5(uuid.NAMESPACE_URL, "vswitch:lab"))


def test_exports_of_the_built_in_host() -> None:
    host = Host()
    golden("export.json", json.dumps(host.export(), indent=1) + "\n")
    golden("observed.json", json.dumps(host.export(observed=True, only=["management"]), indent=1) + "\n")
    assert list(host.export(only=[])) == ["$schema", "format", "switches"]
    with pytest.raises(vswitch.NotFound, match="did you mean 'workload'"):
        host.export(only=["worload"])
    with pytest.raises(TypeError):
        host.export(only="workload")
    assert not host.plan(host.export(observed=True))
    assert not host.plan(host.export(), exact=True)


def test_an_export_is_the_same_where_images_cannot_be_read(monkeypatch: pytest.MonkeyPatch) -> None:
    from vswitch.desired import state

    host = Host()
    lab("{mtu: 2000, uplinks: [a], properties: {k: v},"
        " ports: {p: {vlan: 3, static_addresses: [{mac: 02:00:00:00:00:01}]}}}")
    before = host.export()
    monkeypatch.setattr(state, "decoded", lambda image: None)
    after = host.export()
    for switch in before["switches"].values():
        del switch["persistent"]
    assert after == before
    assert not host.plan(after)
    changed("format: 1\nswitches: {lab: {mtu: 3000, ports: {p: {vlan: 4}, q: {}}}}")
    changed("format: 1\nswitches: {lab: null}")
