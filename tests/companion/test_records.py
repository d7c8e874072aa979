"""The companion layer: shadow classes over the native records."""

import libvswitch as vs
import pytest


def test_native_names_are_the_modules_own():
    import _libvswitch

    for name, value in vars(_libvswitch).items():
        if not name.startswith("_") and not hasattr(_libvswitch, f"{name}_swigregister"):
            assert getattr(vs, name) is value


def test_attributes_are_the_fields():
    info = vs.VSInfo()
    assert info.thisown is True
    info.mtu = 9000
    assert info.mtu == 9000 == vs.VSInfo_mtu_get(info)
    with pytest.raises(OverflowError, match="argument 2 of type 'qel_uint32'"):
        info.mtu = -1
    with pytest.raises(AttributeError):
        info.mtuu = 9000
    with pytest.raises(AttributeError):
        del info.mtu


def test_every_record_is_a_class():
    classes = [value for value in vars(vs).values() if isinstance(value, type) and issubclass(value, vs.Record)]
    assert len(classes) == 118  # and their base
    for record in classes:
        if record is not vs.Record:
            native = getattr(vs, f"new_{record.__name__}")
            assert callable(native)


def test_nested_records_are_views_of_their_class():
    signature = vs.qel_MgmtApiSignature()
    signature.name.string = "module"
    assert isinstance(signature.name, vs.qel_Name) and signature.name.thisown is False
    assert signature.name.string == "module" and repr(signature.name) == "module"
    assert signature.name == signature.name and signature.name != signature.vendor


def test_read_only_parts_cannot_be_assigned():
    port = vs.VSPortInfo()
    with pytest.raises(AttributeError):
        port.vlan = port.vlan


def test_counted_records_index_and_iterate():
    ports = vs.VSUplinkPorts(2)
    ports[0], ports[1] = "first", "second"
    assert len(ports) == 2 and list(ports) == ["first", "second"]


def test_a_record_without_a_known_length_does_not_iterate():
    with pytest.raises(TypeError, match="not iterable"):
        iter(vs.VSTeamPolicy())


def test_check_raises_for_a_failing_status():
    assert vs.check(vs.QEL_OK) is None
    assert vs.check([vs.QEL_OK, 5]) == 5
    assert vs.check([vs.QEL_OK, 5, "x"]) == (5, "x")
    with pytest.raises(vs.VSwitchError) as caught:
        vs.check([vs.QEL_NOT_FOUND, None])
    assert (caught.value.status, caught.value.name, str(caught.value)) == (vs.QEL_NOT_FOUND, "QEL_NOT_FOUND", "QEL_NOT_FOUND")
    with pytest.raises(vs.VSwitchError, match="unknown status 0x00000005"):
        vs.check(5)


def test_dropping_a_record_frees_it(script):
    script(
        """
        import libvswitch as vs
        from heap import bytes_in_use
        def make_and_drop():
            for _ in range(1000):
                vs.VSTeamPolicy()
                vs.qel_MgmtApiSignature().name
        make_and_drop()
        before = bytes_in_use()
        make_and_drop()
        assert bytes_in_use() - before < 20000
        """
    )
