"""What no script may do to the memory of records: take it for another record's, or have it written past its end."""

import importlib
import sys
from collections.abc import Callable
from typing import Any, cast

import libvswitch
import pytest
from misused import vs
from workspace import Script

# ---- classes of two records --------------------------------------------------------------------------------------


class Signature(libvswitch.qel_MgmtApiSignature):
    pass


class Plain:
    pass


@pytest.mark.parametrize(
    "bases",
    [
        (vs.qel_VLANHdr, vs.VSStats),
        (vs.VSStats, vs.qel_VLANHdr),
        (Signature, vs.VSStats),
        (Plain, vs.qel_VLANHdr, vs.VSStats),
        (type("Vlan", (vs.qel_VLANHdr,), {}), type("Stats", (vs.VSStats,), {})),
    ],
)
def test_a_class_of_two_records_is_refused(bases: Any) -> None:
    with pytest.raises(TypeError, match="^class 'Both' cannot stand for two records, 'libvswitch.* and 'libvswitch"):
        type("Both", bases, {})


def test_a_class_of_one_record_and_others_is_made() -> None:
    both = type("Both", (Plain, Signature, vs.qel_MgmtApiSignature), {})
    made = both()
    made.version = 5
    assert (made.version, vs.qel_MgmtApiSignature_version_get(made)) == (5, 5)


SETTERS: dict[str, Callable[[type, Any], object]] = {
    "assignment": lambda kind, bases: setattr(kind, "__bases__", bases),
    "type.__dict__": lambda kind, bases: vars(type)["__bases__"].__set__(kind, bases),
}


@pytest.mark.parametrize("setter", SETTERS)
@pytest.mark.parametrize("bases", [(vs.VSStats,), (vs.VSStats, vs.qel_VLANHdr), (vs.qel_VLANHdr, vs.VSStats)])
def test_the_bases_of_a_class_keep_their_record(setter: str, bases: Any) -> None:
    kind = type("Derived", (vs.qel_VLANHdr,), {})
    below = type("Below", (kind,), {})
    record = below()
    with pytest.raises(TypeError, match="cannot stand for two records"):
        SETTERS[setter](kind, bases)
    assert kind.__bases__ == (vs.qel_VLANHdr,) and kind.__mro__[1] is vs.qel_VLANHdr
    with pytest.raises(AttributeError):
        record.pktsTx
    SETTERS[setter](kind, (Plain, vs.qel_VLANHdr))
    assert isinstance(record, Plain) and len(bytes(cast(Any, record))) == 4


def test_another_class_makes_no_other_memory(script: Script) -> None:
    script(
        """
        import libvswitch as vs
        class Small(vs.qel_VLANHdr):
            __slots__ = ()
        class Large(vs.VSStats):
            __slots__ = ()
        record = Small()
        try:
            record.__class__ = Large
        except TypeError:
            raise SystemExit
        for use in (lambda: record.pktsTx, lambda: setattr(record, "pktsTx", 1), lambda: bytes(record),
                    lambda: setattr(record, "bytesRx", 2**64 - 1), lambda: vs.rows(record, 1, "pktsRx")):
            try:
                use()
            except TypeError:
                continue
            raise AssertionError("accepted")
        """
    )


def test_a_class_registered_for_another_record_reaches_nothing_beyond_it(script: Script) -> None:
    script(
        """
        import libvswitch as vs
        vs.qel_Name_swigregister(vs.VSStats)
        signature = vs.qel_MgmtApiSignature()
        for name in (signature.name, vs.qel_MgmtApiSignature_name_get(signature)):
            assert type(name) is vs.VSStats
            for use in (lambda: name.bytesRx, lambda: setattr(name, "bytesRx", 1), lambda: bytes(name)):
                try:
                    use()
                except TypeError:
                    continue
                raise AssertionError("accepted")
        """
    )


# ---- from_bytes --------------------------------------------------------------------------------------------------


class MadeOtherwise(libvswitch.VSInfo):
    made = None

    def __new__(cls) -> Any:
        return cls.made


class NeverConstructed(libvswitch.VSInfo):
    def __init__(self) -> None:
        pass


class ReleasedAtOnce(libvswitch.VSInfo):
    def __init__(self) -> None:
        super().__init__()
        self.release()


class Freed(libvswitch.VSInfo):
    def __init__(self) -> None:
        super().__init__()
        vs.free_vs_info(self)


def test_from_bytes_writes_only_where_the_record_has_its_memory() -> None:
    data = bytes(range(218))
    for made in (None, 5, "text", object(), vs.qel_VLANHdr(), vs.VSStats(), vs.VSUplinks(1)):
        MadeOtherwise.made = made
        with pytest.raises(TypeError):
            MadeOtherwise.from_bytes(data)
    for made, message in (
        (None, "'MadeOtherwise' made no record but 'NoneType'"),
        (vs.VSStats(), "'MadeOtherwise' made another record, 'libvswitch.VSStats'"),
    ):
        MadeOtherwise.made = made
        with pytest.raises(TypeError, match=f"^{message}$"):
            MadeOtherwise.from_bytes(data)
    for kind, message in (
        (NeverConstructed, "the record has no memory"),
        (ReleasedAtOnce, "the memory of this .*ReleasedAtOnce was released"),
        (Freed, "the memory of this .*Freed was released"),
    ):
        with pytest.raises(ValueError, match=message):
            kind.from_bytes(data)
    other = MadeOtherwise.made = vs.VSInfo()
    assert MadeOtherwise.from_bytes(data) is other and bytes(other) == data
    with pytest.raises(TypeError):
        vs.Record.from_bytes(b"")
    with pytest.raises(TypeError, match="no fixed size"):
        vs.VSUplinks.from_bytes(bytes(8))


def test_from_bytes_passes_on_what_the_class_raises() -> None:
    class Failing(libvswitch.VSInfo):
        def __init__(self) -> None:
            raise LookupError("its own")

    with pytest.raises(LookupError, match="its own"):
        Failing.from_bytes(bytes(218))


# ---- counts ------------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("kind", [vs.VSUplinks, vs.VSUplinkPorts, vs.VSUplinkPortIds, vs.VSRuntimeOptions])
@pytest.mark.parametrize(
    "count", [2**31, 2**32, 2**63 - 1, 2**63, 2**64, 10**30, -(2**31) - 1, -(2**63) - 1, -(10**30)]
)
def test_a_count_that_is_no_int_of_the_library_overflows(kind: Any, count: int) -> None:
    with pytest.raises(OverflowError, match=f"^in method 'new_{kind.__name__}', argument 1 of type 'int'$"):
        kind(count)


# ---- the module, twice -------------------------------------------------------------------------------------------


def test_the_layer_can_be_reloaded_and_imported_again(script: Script) -> None:
    script(
        """
        import importlib, sys
        import libvswitch as first
        kind, info, error = first.VSInfo, first.VSInfo(), first.VSwitchError
        first.VSInfo = None
        del first.QEL_OK
        assert importlib.reload(first) is first
        assert first.VSInfo is kind and first.QEL_OK == 0 and first.VSwitchError is error
        for forgotten in (["libvswitch"], ["libvswitch._records"],
                          [n for n in sys.modules if n.startswith("libvswitch")], ["libvswitch", "_libvswitch"]):
            for name in forgotten:
                sys.modules.pop(name, None)
            import libvswitch as again
            assert again is not first or forgotten == ["libvswitch._records"]
            assert again.VSInfo is kind and again.Record is first.Record and isinstance(info, again.VSInfo)
            info.mtu = 9000
            assert again.VSInfo_mtu_get(info) == first.VSInfo_mtu_get(info) == 9000
            with again.allocated(again.VSQEL_GetSwitchInfo, "workload") as got:
                assert type(got) is kind and again.check([0, got]) is got
            assert again.mac_text(bytes(6)) and vars(again)["VSQEL_GetSwitchInfo"] is again.VSQEL_GetSwitchInfo
        """
    )


def test_modules_of_this_process_stay_the_same() -> None:
    assert importlib.import_module("libvswitch") is vs is sys.modules["libvswitch"]
