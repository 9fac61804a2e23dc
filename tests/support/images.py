"""Small executables with a description of their own, for tests that are written in Python."""
import struct

I386 = (7, 3, "<")
M68K = (6, 1, ">")


def mach_o(sections, processor=I386):
    """A 32-bit image with the sections of segment __ICON, given as a dictionary from names to bytes."""
    kind, subtype, order = processor
    contents = b"".join(sections.values())
    command_size = 56 + 68 * len(sections)
    start = 28 + command_size
    header = struct.pack(order + "7I", 0xFEEDFACE, kind, subtype, 2, 1, command_size, 0)
    segment = struct.pack(order + "2I16s8I", 1, command_size, b"__ICON", 0, len(contents), start, len(contents), 7, 7,
                          len(sections), 0)
    described, offset = b"", start
    for name, data in sections.items():
        described += struct.pack(order + "16s16s9I", name.encode(), b"__ICON", 0, len(data), offset, 0, 0, 0, 0, 0, 0)
        offset += len(data)
    return header + segment + described + contents


def describing(header, processor=I386):
    return mach_o({"__header": header.encode()}, processor)
