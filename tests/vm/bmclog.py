"""The log of the virtual machine's BMC."""

from typing import NamedTuple, Optional

OPEN, READ, CLOSE, QUERY_SIZE = 1, 2, 5, 6
AREA = 65536
MARK = ("30", "03")
PROFILE = ("30", "01")
DATA_STORE = ("2e", "90")


class Message(NamedTuple):
    what: str    # answered, silent, cut-off, desynchronised
    data: bytes
    code: Optional[int]    # completion code

    @property
    def operation(self):
        return self.data[3]

    @property
    def read(self):
        """(offset, count) of a read."""
        return int.from_bytes(self.data[8:12], "little"), self.data[12]


def sections(file):
    """(title, its data-store messages) of everything between one mark or choice of a profile and the next."""
    title, messages = "", []
    for line in file.read_text().splitlines():
        fields = line.split()
        if len(fields) != 8:
            continue    # the connection's coming and going, control commands
        _, what, netfn, command, data, _, _, head = fields
        data = b"" if data == "-" else bytes.fromhex(data)
        if (netfn, command) in (MARK, PROFILE):
            yield title, messages
            title, messages = data.decode(), []
        elif (netfn, command) == DATA_STORE:
            messages.append(Message(what, data, None if head == "-" else int(head[:2], 16)))
    yield title, messages


def transfer(chunk):
    """[(operation, offset, count)] of one reading of the table."""
    reads = [(READ, offset, min(chunk, AREA - offset)) for offset in range(0, AREA, chunk)]
    return [(OPEN, 0, 0), (QUERY_SIZE, 0, 0), *reads, (CLOSE, 0, 0)]


def brief(messages):
    return [(message.operation, *(message.read if message.operation == READ else (0, 0))) for message in messages]
