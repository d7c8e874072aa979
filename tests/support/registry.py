"""Reads the process-wide runtime record through its capsule."""

import ctypes
from typing import Any


class TypeInfo(ctypes.Structure):
    pass


class CastInfo(ctypes.Structure):
    pass


CastInfo._fields_ = [
    ("type", ctypes.POINTER(TypeInfo)),
    ("converter", ctypes.c_void_p),
    ("next", ctypes.POINTER(CastInfo)),
    ("prev", ctypes.c_void_p),
]
TypeInfo._fields_ = [
    ("name", ctypes.c_char_p),
    ("str", ctypes.c_char_p),
    ("dcast", ctypes.c_void_p),
    ("cast", ctypes.POINTER(CastInfo)),
    ("clientdata", ctypes.c_void_p),
    ("owndata", ctypes.c_int),
]


class ModuleInfo(ctypes.Structure):
    pass


ModuleInfo._fields_ = [
    ("types", ctypes.POINTER(ctypes.POINTER(TypeInfo))),
    ("size", ctypes.c_size_t),
    ("next", ctypes.POINTER(ModuleInfo)),
    ("type_initial", ctypes.c_void_p),
    ("cast_initial", ctypes.c_void_p),
    ("clientdata", ctypes.c_void_p),
]


def address(pointer: Any) -> int:
    return ctypes.cast(pointer, ctypes.c_void_p).value or 0


def modules() -> list[ModuleInfo]:
    """The ring, from the record that the capsule holds."""
    get = ctypes.pythonapi.PyCapsule_Import
    get.restype = ctypes.POINTER(ModuleInfo)
    get.argtypes = [ctypes.c_char_p, ctypes.c_int]
    first = get(b"swig_runtime_data4.type_pointer_capsule", 0)
    ring = [first.contents]
    link = first.contents.next
    while address(link) != address(first):
        ring.append(link.contents)
        link = link.contents.next
    return ring


def module_with(name: str) -> ModuleInfo:
    """The largest module of the ring that has this descriptor: ours."""
    found = [module for module in modules() if name in descriptors(module)]
    return max(found, key=lambda module: int(module.size))


def descriptors(module: ModuleInfo) -> dict[str, TypeInfo]:
    """Mangled name to descriptor, in the order of the table."""
    return {module.types[i].contents.name.decode(): module.types[i].contents for i in range(module.size)}


def casts(type_info: TypeInfo) -> list[CastInfo]:
    found = []
    link = type_info.cast
    while link:
        found.append(link.contents)
        link = link.contents.next
    return found
