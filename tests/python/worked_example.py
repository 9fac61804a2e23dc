#!/usr/bin/python3
"""Plays the worked example of docs/protocol.md with the real tool, byte by byte."""

import re
import struct
import sys

from tool_process import TIME_LIMIT, ToolProcess


def shown_bytes(line):
    """What a line of the example shows, before the remark behind it."""
    shown = re.split(r" {3,}", line[2:])[0]
    return b"".join(
        piece[1:-1].encode() if piece[0] == '"' else bytes.fromhex(piece)
        for piece in re.findall(r'"[^"]*"|[0-9a-f]{2}\b', shown)
    )


def messages(document):
    """What goes over the channels in the example, as [direction, bytes]."""
    example = document[document.index("## A worked example") :]
    found = []
    for block in re.findall(r"```\n(.*?)```", example, re.DOTALL):
        for line in block.splitlines():
            if line[0] in "<>":
                found.append([line[0], b""])
            found[-1][1] += shown_bytes(line)
    return found


def receive(channel, size):
    data = b""
    while len(data) < size:
        part = channel.recv(size - len(data))
        assert part, "the tool ended too early"
        data += part
    return data


def words_that_are_the_same_everywhere(message):
    """Message 78 without the numbers that mean something to the tool only."""
    words = struct.unpack("<8I", message)
    return words[:3] + words[5:7]


def main(tool_path, document_path):
    with open(document_path, encoding="utf-8") as document:
        (_, message_78), (_, message_79), *conversation = messages(document.read())
    tool = ToolProcess(tool_path)
    assert words_that_are_the_same_everywhere(
        tool.message_78
    ) == words_that_are_the_same_everywhere(message_78)
    assert struct.unpack("<8I", message_79)[5] == 79
    if sys.byteorder != "little":
        return  # elsewhere all that follows looks different
    tool.from_tool.settimeout(TIME_LIMIT)
    for direction, expected in conversation:
        if direction == ">":
            tool.to_tool.sendall(expected)
        else:
            received = receive(tool.from_tool, len(expected))
            assert received == expected, (received.hex(" "), expected.hex(" "))
    assert len(conversation) == 6
    assert tool.exit_status() == 0
    assert tool.from_tool.recv(1) == b"", "nothing comes after the end"


if __name__ == "__main__":
    main(*sys.argv[1:])
