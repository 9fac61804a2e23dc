"""Starts the tool and hands the ports over, as docs/protocol.md says a master does."""

import os
import socket
import struct
import subprocess
import tempfile

SERVICE = "Miniapp_boot_port"
ONE_PORT_IN_LINE = 0x10012006
TIME_LIMIT = 120  # seconds, for a tool that never ends


class ToolProcess:
    """A running tool and the two channels: `to_tool` is written, `from_tool` is read."""

    def __init__(self, tool):
        self.directory = tempfile.TemporaryDirectory()  # made with mode 0700
        service = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        service.bind(os.path.join(self.directory.name, SERVICE))
        service.listen()
        environment = dict(os.environ, TESKER_BOOTSTRAP_DIR=self.directory.name)
        self.process = subprocess.Popen([tool], env=environment, stdin=subprocess.DEVNULL)
        self.sign_of_life, _ = service.accept()
        service.close()

        self.message_78, descriptors, _, _ = socket.recv_fds(self.sign_of_life, 64, 4)
        words = struct.unpack("<8I", self.message_78)
        assert words[5] == 78 and words[6] == ONE_PORT_IN_LINE, words
        assert len(descriptors) == 1
        self.to_tool = socket.socket(fileno=descriptors[0])

        self.from_tool, tools_end = socket.socketpair()
        message_79 = struct.pack("<8I", 0, 32, 0, 1, 0, 79, ONE_PORT_IN_LINE, 2)
        socket.send_fds(self.to_tool, [message_79], [tools_end.fileno()])
        tools_end.close()

    def exit_status(self):
        return self.process.wait(TIME_LIMIT)
