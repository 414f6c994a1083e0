"""Pretty-printers for the value types of platform/foundation: Value, Number, Array, Dictionary, Date and Error.

The .gdbinit of the repository loads this file. The printers read the members of the objects and call no function of the
program, so they also work with a core file. They need full debug information (`cmake --preset debug`) and libstdc++.
"""

import datetime

import gdb
import gdb.printing

# The order of platform::Value::Kind, which is the order of the alternatives of the variant.
KINDS = ["None", "Null", "String", "Number", "Data", "Date", "Array", "Dictionary", "Object"]


def alternative(variant):
    """The value that a std::variant holds, and its index."""
    index = int(variant["_M_index"])
    variant_type = variant.type.strip_typedefs()
    # Each alternative is stored at the beginning of the union.
    address = variant["_M_u"].address
    return address.cast(variant_type.template_argument(index).pointer()).dereference(), index


def pointee(shared):
    """What a std::shared_ptr points to; None if it is null."""
    pointer = shared["_M_ptr"]
    return None if int(pointer) == 0 else pointer.dereference()


def elements(vector):
    position, end = vector["_M_impl"]["_M_start"], vector["_M_impl"]["_M_finish"]
    while position != end:
        yield position.dereference()
        position += 1


def text(string):
    data, length = string["_M_dataplus"]["_M_p"], int(string["_M_string_length"])
    return data.string("utf-8", "replace", length) if length else ""


def optional_text(optional):
    payload = optional["_M_payload"]
    return text(payload["_M_payload"]["_M_value"]) if payload["_M_engaged"] else None


def quoted(string):
    return '"' + string.replace("\\", "\\\\").replace('"', '\\"').replace("\n", "\\n") + '"'


class NumberPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        number, _ = alternative(self.value["_value"])
        if str(self.value["_kind"]).endswith("Boolean"):
            return "YES" if int(number) else "NO"
        return str(number)


class DatePrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        seconds = float(self.value["secondsSince1970"])
        try:
            date = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc)
        except (OverflowError, OSError, ValueError):
            return f"{seconds} s"
        return date.strftime("%Y-%m-%d %H:%M:%S +0000")


class ArrayPrinter:
    def __init__(self, value):
        self.storage = pointee(value["_storage"])

    def to_string(self):
        count = len(list(elements(self.storage))) if self.storage is not None else 0
        return f"Array of {count}"

    def children(self):
        if self.storage is None:
            return
        for index, value in enumerate(elements(self.storage)):
            yield str(index), value

    def display_hint(self):
        return "array"


class DictionaryPrinter:
    def __init__(self, value):
        self.storage = pointee(value["_storage"])

    def entries(self):
        return elements(self.storage["entries"]) if self.storage is not None else ()

    def to_string(self):
        return f"Dictionary of {len(list(self.entries()))}"

    def children(self):
        for index, entry in enumerate(self.entries()):
            yield f"key {index}", entry["first"]
            yield f"value {index}", entry["second"]

    def display_hint(self):
        return "map"


class ErrorPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        error = f"Error Domain={text(self.value['domain'])} Code={int(self.value['code'])}"
        description = optional_text(self.value["localizedDescription"])
        return error if description is None else f"{error} {quoted(description)}"


class ValuePrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        content, index = alternative(self.value["_value"])
        kind = KINDS[index]
        if kind == "None":
            return "(none)"
        if kind == "Null":
            return "<null>"
        if kind == "String":
            return quoted(text(pointee(content)))
        if kind == "Data":
            data = pointee(content)["_M_impl"]
            return f"<{int(data['_M_finish'] - data['_M_start'])} bytes>"
        if kind == "Object":
            return object_name(content["_M_ptr"])
        return content


def object_name(pointer):
    if int(pointer) == 0:
        return "<no object>"
    # Without the typedef of std::shared_ptr gdb looks for the most derived class.
    pointer = pointer.cast(pointer.type.target().strip_typedefs().pointer())
    name = pointer.dynamic_type.target().name
    return f"<{name}: {int(pointer):#x}>"


def printers():
    collection = gdb.printing.RegexpCollectionPrettyPrinter("vorlane")
    for name, printer in [("Number", NumberPrinter), ("Date", DatePrinter), ("Array", ArrayPrinter),
                          ("Dictionary", DictionaryPrinter), ("Error", ErrorPrinter), ("Value", ValuePrinter)]:
        collection.add_printer(name, f"^platform::{name}$", printer)
    return collection


gdb.printing.register_pretty_printer(gdb.current_objfile(), printers(), replace=True)
