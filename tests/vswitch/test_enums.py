"""The enumerations: every constant of their families, its number, its meaning in one line, and its forms as text."""

import copy
import pickle
import re
from typing import Any

import libvswitch
import pytest
from workspace import BUILD, SOURCE

import vswitch

pytestmark = pytest.mark.pure_python

# What each class has: the start of the constants' names (or another rule), and the constants that are left out.
PREFIXES = {
    "SwitchStatus": "QEL_HNQ_STATUS_",
    "PortType": "DVSPORT_TYPE_",
    "PortFlag": "QEL_HNQPORT_STATUS_",
    "SaveRestoreMode": "RTM_IOCCMD_",
    "LoadBalance": "TEAM_FRP_TYPE_",
    "TeamCriterion": "TEAM_FRP_CRIT_",
    "TeamFlag": "TEAM_FRP_FLAG_",
    "LinkState": "QEL_LINK_STATE_",
    "LinkDuplex": "QEL_LINK_DUPLEX_",
    "VlanFlag": "VSPORT_VLAN_",
    "PrivateVlanType": "VSPORT_PVLAN_TYPE_",
    "SecurityFlag": "VSPORT_SECURITY_",
    "EthernetFilterFlag": "QEL_ETH_FILTER_",
    "MacType": "VS_MAC_ADDR_TYPE_",
    "MacLimitPolicy": "VSPORT_MAC_LEARNING_LIMIT_POLICY_",
    "MulticastMode": "VS_MCAST_FILTER_MODE_",
    "SourceFilterMode": "VS_MCAST_SRC_IP_FILTER_MODE_",
    "RcfType": "QBR_RCF_INSN_TYPE_",
    "MirrorType": "VS_DVMIRROR_SESSIONTYPE_",
    "MirrorFlag": "VS_DVMIRROR_FLAG_",
    "MirrorEndType": "MIRROR_ENTTYPE_",
    "MirrorWildcard": "VS_DVMIRROR_WILDCARD_",
    "MirrorUplinkFilter": "MIRROR_UPLINK_FILTER_",
    "MirrorEncapsulation": "DVMIRROR_ENCAP_",
    "MirrorAction": "ACTION_",
    "RuntimeOption": "VS_RT_OPT_",
}
LEFT_OUT = {
    "RTM_IOCCMD_ORV_ACTIVATE",
    "RTM_IOCCMD_ORV_DEACTIVATE",
    "QBR_RCF_INSN_TYPE_MAX",
    "MIRROR_UPLINK_FILTER_TYPE_MAX",
    "DVMIRROR_ENCAP_TYPE_MAX",
    "ACTION_MAX",
}
CLASSES = [*PREFIXES, "Status", "SwitchVersion", "PropertyKind", "PropertyKey"]
LIST = dict(line.split(" ", 1) for line in (SOURCE / "tests/data/constants.txt").read_text().splitlines())


def expected() -> dict[str, tuple[str, str]]:
    """By constant the class and the member's name."""
    found = {}
    for kind, start in PREFIXES.items():
        found.update({name: (kind, name[len(start) :]) for name in LIST if name.startswith(start)})
    for constant in vswitch.constants().values():
        if constant.family == "status" or constant.name == "QEL_GENERIC_LINUX_ERROR":
            found[constant.name] = "Status", constant.name[4:]
    for name in LIST:
        if name.endswith("_PROP_TYPE") and not name.startswith("ALL_"):
            found[name] = "PropertyKind", name.removesuffix("_PROP_TYPE")
        if name.startswith("DVS_VERSION_"):
            found[name] = "SwitchVersion", name.replace("VERSION_", "")
        if re.match(r"VSPROP_|QEL_HNQPROP_|QBR_.*PRP|QEL_CISCO_PROP_", name):
            found[name] = "PropertyKey", name
    found["VS_QBR_HNQ_VERSION_10"] = "SwitchVersion", "QBR_10"
    found["VS_QBRT_ON_DVS70_VERSION"] = "SwitchVersion", "QBR_ON_DVS70"
    return {name: place for name, place in found.items() if name not in LEFT_OUT}


def members() -> list[Any]:
    return [member for kind in CLASSES for member in getattr(vswitch, kind)]


def test_each_constant_of_a_class_is_a_member_and_nothing_else_is() -> None:
    assert {member.constant: (type(member).__name__, member.name) for member in members()} == expected()


def test_numbers_and_texts_are_those_of_the_closed_list() -> None:
    for member in members():
        shown = member.value if isinstance(member.value, str) else str(int(member))
        assert shown == LIST[member.constant].strip("'\""), member.constant


def test_there_are_351_statuses() -> None:
    assert len(vswitch.Status) == 351 == len(vswitch.Status.__members__)


@pytest.mark.parametrize("kind", [*CLASSES, "Origin", "Scope"])
def test_meanings_are_one_line_that_says_more_than_the_name(kind: Any) -> None:
    seen: dict[str, str] = {}
    for name, member in getattr(vswitch, kind).__members__.items():
        meaning = member.meaning
        assert 1 <= len(meaning) <= 120, name
        assert "\n" not in meaning and not meaning.endswith("."), name
        assert meaning == meaning.strip(), name
        words = set(re.findall(r"[a-z0-9]+", meaning.lower()))
        assert words - set(name.lower().split("_")) - {"the", "is", "a", "an", "of", "not", "no"}, name
        assert seen.setdefault(meaning, name) == name, f"{name} and {seen[meaning]} mean the same"


def test_constants_gives_all_in_the_order_of_declaration() -> None:
    constants = vswitch.constants()
    assert set(constants) == set(LIST)
    assert len(constants) == 1027
    assert list(constants)[:2] == ["QEL_OK", "QEL_FAILURE"]
    for name, constant in constants.items():
        assert constant.name == name
        assert constant.value == getattr(libvswitch, name)
        assert constant.family and constant.meaning
    assert constants["DVSPORT_TYPE_ACTIVE"].meaning == "with a client"
    assert constants["VS_LIST_PS"].meaning.startswith("Kinds of switch name list")
    assert constants["ACTION_MAX"].meaning.startswith("What a traffic filter rule does")
    assert "runtimeOptionNames" not in constants


def test_texts_of_a_number() -> None:
    member = vswitch.LoadBalance.FO_EXPLICIT
    assert (str(member), f"{member}", f"{member:03}", repr(member)) == (
        "fo-explicit",
        "fo-explicit",
        "004",
        "<LoadBalance.FO_EXPLICIT: 4>",
    )
    assert member == libvswitch.TEAM_FRP_TYPE_FO_EXPLICIT == int(member)
    assert member.constant == "TEAM_FRP_TYPE_FO_EXPLICIT"
    assert member.to_json() == "fo-explicit"


@pytest.mark.parametrize("kind", [*CLASSES, "Origin", "Scope"])
def test_every_form_leads_back_to_the_member(kind: Any) -> None:
    for member in getattr(vswitch, kind):
        for form in {str(member), member.name, member.constant or member.name}:
            assert type(member).from_json(form) is member
        assert pickle.loads(pickle.dumps(member)) is member
        assert copy.deepcopy(member) is member
        if not isinstance(member, str):
            assert type(member).from_json(int(member)) == member


def test_a_wrong_name_lists_the_choices() -> None:
    choices = "none, lb-ip, lb-srcmac, lb-srcid, fo-explicit, lb-lbt"
    with pytest.raises(ValueError, match=f"'fo' is no LoadBalance: use one of {choices}"):
        vswitch.LoadBalance.from_json("fo")
    with pytest.raises(ValueError, match="'x' is no TeamFlag: use one of all-available, reverse"):
        vswitch.TeamFlag.from_json(["reverse", "x"])
    wrong: Any
    for wrong in (None, 1.5, True, []):
        with pytest.raises(TypeError):
            vswitch.LoadBalance.from_json(wrong)
    for wrong in (None, 1.5, True, [None]):
        with pytest.raises(TypeError):
            vswitch.TeamFlag.from_json(wrong)


def test_a_number_that_no_member_has_stays_a_number() -> None:
    assert vswitch.LoadBalance.from_json(99) == 99
    assert type(vswitch.LoadBalance.from_json(99)) is int
    assert vswitch.LoadBalance.of(4) is vswitch.LoadBalance.FO_EXPLICIT


def test_flags_as_text_and_json() -> None:
    flags = vswitch.TeamFlag.NOTIFY_SWITCH | vswitch.TeamFlag.REVERSE | 1 << 29
    assert flags.to_json() == ["reverse", "notify-switch", 1 << 29]
    assert str(flags) == f"reverse, notify-switch, {1 << 29}" == f"{flags}"
    assert vswitch.TeamFlag.from_json(flags.to_json()) == flags == vswitch.TeamFlag.from_json(str(flags))
    assert vswitch.TeamFlag.from_json("TEAM_FRP_FLAG_REVERSE, NOTIFY_SWITCH") == flags & ~(1 << 29)
    assert str(vswitch.TeamFlag(0)) == "" and vswitch.TeamFlag(0).to_json() == []
    assert flags & ~vswitch.TeamFlag.REVERSE == vswitch.TeamFlag.NOTIFY_SWITCH | 1 << 29
    assert pickle.loads(pickle.dumps(flags)) == flags


def test_the_bit_that_is_a_sign() -> None:
    kind = vswitch.PropertyKind
    both = kind.CONFIG | kind.NO_SYNC
    assert int(kind.NO_SYNC) == libvswitch.NO_SYNC_PROP_TYPE < 0
    assert int(both) == libvswitch.CONFIG_PROP_TYPE | libvswitch.NO_SYNC_PROP_TYPE
    assert both == kind(int(both)) == kind.from_json(["config", "no-sync"])
    assert kind.NO_SYNC in both and kind.RUNTIME not in both
    assert both & ~kind.NO_SYNC == kind.CONFIG


def test_keys_are_texts() -> None:
    key = vswitch.PropertyKey.VSPROP_MTU
    assert key == "com.taliko.vswitch.mtu" == str(key) == f"{key}"
    assert vswitch.PropertyKey.from_json("com.taliko.vswitch.mtu") is key


def test_options_know_their_names() -> None:
    assert vswitch.RuntimeOption.IGMP_VERSION.option_name == "IGMPVersion"
    assert [option.option_name for option in vswitch.RuntimeOption if option.is_text] == ["IGMPRouterIP", "MLDRouterIP"]
    assert len(vswitch.RuntimeOption) == 18


def test_the_layer_s_own_have_no_constant() -> None:
    assert [str(origin) for origin in vswitch.Origin] == ["default", "host", "switch", "port"]
    assert [str(scope) for scope in vswitch.Scope] == ["global", "host", "port"]
    assert {member.constant for member in (*vswitch.Origin, *vswitch.Scope)} == {""}


def test_the_stubs_have_the_meanings() -> None:
    stubs = (BUILD / "python/libvswitch/__init__.pyi").read_text()
    assert 'DVSPORT_TYPE_ACTIVE: int\n"""with a client"""\n' in stubs
