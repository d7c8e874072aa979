"""The named constants: every value, and the rules behind the values."""

import json
import pathlib

import _libvswitch as m

LISTED = [
    (name, json.loads(value))
    for name, value in (
        line.split(" ", 1)
        for line in (pathlib.Path(__file__).parent.parent / "data" / "constants.txt").read_text().splitlines()
    )
]


def installed() -> list[tuple[str, object]]:
    return [
        (name, value) for name, value in vars(m).items() if isinstance(value, (int, str)) and not name.startswith("__")
    ]


def test_the_dictionary_holds_exactly_the_constants_in_order() -> None:
    assert installed() == LISTED
    assert len(LISTED) == 1027
    assert sum(isinstance(value, int) for _, value in LISTED) == 934
    assert sum(isinstance(value, str) for _, value in LISTED) == 93


def test_no_name_is_declared_twice() -> None:
    assert len({name for name, _ in LISTED}) == len(LISTED)


def test_status_codes_rise_by_one_except_for_fifteen_gaps() -> None:
    codes = [value for name, value in LISTED[: [name for name, _ in LISTED].index("QEL_LAST_ERR") + 1]]
    assert codes[0] == 0 and codes[1] == 0x0BAD0001 and codes[-1] == 0x0BAD016C
    missing = set(range(codes[1], codes[-1] + 1)) - set(codes)
    assert sorted(codes) == codes and len(codes) == 350
    assert sorted(code - 0x0BAD0000 for code in missing) == [
        0xE9, 0x127, 0x130, 0x131, *range(0x139, 0x141), 0x146, 0x155, 0x162,
    ]
    assert m.QEL_FAILURE == 195887105
    assert m.QEL_GENERIC_LINUX_ERROR == 0x2BAD0000


def test_network_byte_order_values_are_swapped() -> None:
    for name, value in LISTED:
        if name.endswith("_NBO"):
            host = dict(LISTED)[name[: -len("_NBO")]]
            width = 2 if host < 2**16 else 4
            assert value == int.from_bytes(host.to_bytes(width, "big"), "little"), name


def test_units_are_powers_of_1024() -> None:
    units = ["KILO", "MEGA", "GIGA", "TERA", "PETA", "EXA"]
    assert [getattr(m, f"QEL_{unit}BYTE") for unit in units] == [1024**power for power in range(1, 7)]


def test_masks_are_the_sums_of_their_parts() -> None:
    public = (m.VOLATILE_PROP_TYPE, m.POLICY_PROP_TYPE, m.CONFIG_PROP_TYPE, m.RUNTIME_PROP_TYPE,
              m.NO_REPLICATE_PROP_TYPE, m.NO_SET_LOCAL_CALLBACK_PROP_TYPE)
    assert sum(public) == m.ALL_PUBLIC_PROP_TYPE
    assert m.ALL_PUBLIC_PROP_TYPE | m.NO_SYNC_PROP_TYPE == m.ALL_PROP_TYPE
    assert (m.NO_SYNC_PROP_TYPE, m.ALL_PROP_TYPE) == (-2147483648, -2147483396)


def test_the_revision_is_packed_from_its_four_parts() -> None:
    parts = (m.QELAPI_REVISION_MAJOR, m.QELAPI_REVISION_MINOR, m.QELAPI_REVISION_UPDATE, m.QELAPI_REVISION_PATCH_LEVEL)
    assert parts == (2, 13, 0, 0)
    assert m.QELAPI_REVISION == int.from_bytes(bytes(parts), "big") == 0x20D0000


def test_a_constant_with_the_top_bit_set_is_negative() -> None:
    assert m.VS_DVMIRROR_MAGIC_NUM == -87114001 == 0xFACEBEEF - 2**32
    assert m.VS_DVMIRROR_SNAPLEN_COMPLETE == -1


def test_format_texts() -> None:
    assert m.QEL_ETH_ADDR_FMT_STR == "%02hhx:%02hhx:%02hhx:%02hhx:%02hhx:%02hhx"
    assert m.QEL_FMT64 == "L"


def test_the_thirteen_pool_keys_stand_between_the_pools_and_the_properties() -> None:
    names = [name for name, _ in LISTED]
    keys = [name for name in names if name.endswith("_RESPOOL_ID")]
    first = names.index("QEL_PORTSET_RESPOOL_MAX_SHARES") + 1
    assert names[first : first + 13] == keys and len(keys) == 13
    assert len({getattr(m, key) for key in keys}) == 13
    for key in keys:
        word = key[len("QEL_PORTSET_") : -len("_RESPOOL_ID")].lower()
        assert getattr(m, key) == f"netsched.pools.persist.{word}"


def test_the_variables_are_linked_after_their_constants() -> None:
    names = list(vars(m))
    assert names[names.index("QEL_IOCTL_CALLER_32") + 1] == "cvar"
