"""Reads what NATS servers keep, in their plain protocol: a witness that shares nothing with what is
tested.
"""

import json
import re
import socket

QUIET = 3  # seconds without a message, after which there is no more


class Connection:
    """Speaks to one server, as one that is asked and one to whom messages are sent."""

    INBOX = "_INBOX.witness"

    def __init__(self, address, port):
        self.socket = socket.create_connection((address, port), timeout=QUIET)
        self.file = self.socket.makefile("rb")
        self.send('CONNECT {"verbose":false,"headers":true}', f"SUB {self.INBOX}.> 1")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.file.close()
        self.socket.close()

    def send(self, *lines):
        self.socket.sendall("".join(line + "\r\n" for line in lines).encode())

    def ask(self, subject, question):
        """Asks, with what comes to follow: see messages()."""
        text = json.dumps(question)
        self.send(f"PUB {subject} {self.INBOX}.1 {len(text.encode())}", text)

    def messages(self):
        """Texts that come, without their headers, until none does for a while."""
        try:
            while line := self.file.readline():
                word, *rest = line.decode().split()
                if word == "PING":
                    self.send("PONG")
                elif word in ("MSG", "HMSG"):
                    before = int(rest[-2]) if word == "HMSG" else 0
                    yield self.file.read(int(rest[-1]) + 2)[before:-2].decode(errors="replace")
        except TimeoutError:
            return


def texts_of(address, port, stream):
    """All that a stream has, as one of its servers tells."""
    with Connection(address, port) as connection:
        connection.ask(f"$JS.API.CONSUMER.CREATE.{stream}", {
            "stream_name": stream, "config": {"ack_policy": "none", "deliver_policy": "all"}})
        answer = json.loads(next(connection.messages(), "{}"))
        if "name" not in answer:
            raise SystemExit(f"the servers do not tell what {stream} has: {answer}")
        connection.ask(f"$JS.API.CONSUMER.MSG.NEXT.{stream}.{answer['name']}",
                       {"batch": 10_000_000, "expires": 60_000_000_000})
        return list(connection.messages())


def situations_of(texts):
    """(Writer, number) of each line that a writer has reported."""
    return {(writer, int(number)) for text in texts
            for writer, number in re.findall(r"writer (w\d+) situation (\d+) of many", text)}
