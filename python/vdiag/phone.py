"""A connection to a phone, and its commands as attributes."""
from __future__ import annotations

import inspect
import itertools
import json
import socket
import subprocess
import threading
from types import TracebackType
from typing import Any, Dict, IO, List, Mapping, Sequence, Type, Union

from .errors import ConnectFailed, Ended, Failure, error_of

Value = Union[str, int, bytes, Mapping[str, str], Sequence[str]]


class Answer:
    """An answer. Its fields are attributes: `answer.mac`; `fields` has them all, bytes as bytes."""

    def __init__(self, record: Mapping[str, Any], kinds: Mapping[str, str]) -> None:
        self.record = dict(record)
        self.status: int | None = record.get("status")
        self.status_text: str = record.get("status_text", "")
        self.fields: Dict[str, Any] = {name: _from_json(value, kinds.get(name, ""))
                                       for name, value in record.get("fields", {}).items()}

    def __getattr__(self, name: str) -> Any:
        try:
            return self.__dict__["fields"][name]
        except KeyError:
            raise AttributeError(f"the answer has no field '{name}'") from None

    def __dir__(self) -> List[str]:
        return [*super().__dir__(), *self.fields]

    def __repr__(self) -> str:
        return f"<{self.record.get('command')}: {self.status_text or 'answered'} {self.fields}>"


def _from_json(value: Any, kind: str) -> Any:
    if isinstance(value, dict) and set(value) == {"hex"}:
        return bytes.fromhex(value["hex"])
    return bytes.fromhex(value) if kind == "bytes" and isinstance(value, str) else value


def _to_json(value: Any) -> Any:
    return {"hex": bytes(value).hex()} if isinstance(value, (bytes, bytearray, memoryview)) else value


class Command:
    """A command, or the beginning of several: phone.version() and phone.version.internal()."""

    def __init__(self, phone: Phone, words: str) -> None:
        self._phone = phone
        self._words = words
        self._row: Dict[str, Any] | None = None
        self._children: Dict[str, Command] = {}

    def _describe(self, row: Dict[str, Any]) -> None:
        self._row = row
        self.__doc__ = _help(row)
        arguments = row.get("arguments")
        if arguments is not None:
            self.__signature__ = inspect.Signature([
                inspect.Parameter(field["name"], inspect.Parameter.POSITIONAL_OR_KEYWORD,
                                  default=None if field["optional"] else inspect.Parameter.empty)
                for field in arguments])

    def __getattr__(self, name: str) -> Command:
        children = self.__dict__.get("_children", {})
        for child, command in children.items():
            if child == name or child.lower() == name.lower():
                return command
        raise AttributeError(f"no command '{(self.__dict__.get('_words', '') + ' ' + name).strip()}'")

    def __dir__(self) -> List[str]:
        return list(self._children)

    def __repr__(self) -> str:
        return f"<command {self._words or 'prefix'}>"

    def __call__(self, *arguments: Value | None, timeout: str | None = None, options: Mapping[str, Any] | None = None,
                 **named: Value) -> Answer:
        """Sends the request and waits for its answer. Arguments that are None are left out. `options` are those of the
        command line, such as {"key": "private.pem"}; `timeout` is a time such as "300ms"."""
        if self._row is None:
            raise AttributeError(f"'{self._words}' is the beginning of commands: {', '.join(self._children)}")
        request: Dict[str, Any] = {"command": self._words}
        fields = self._row.get("arguments")
        given = [argument for argument in arguments if argument is not None]
        if fields is None or len(given) > len(fields):
            if named:
                raise TypeError(f"'{self._words}' takes no arguments by name in the place of others")
            request["arguments"] = [_to_json(argument) for argument in given]
        else:
            names = [field["name"] for field in fields]
            request["arguments"] = {name: _to_json(value) for name, value in zip(names, given)}
            for name, value in named.items():
                if name in request["arguments"]:
                    raise TypeError(f"argument '{name}' is given twice")
                request["arguments"][name] = _to_json(value)
        if timeout is not None:
            request["timeout"] = timeout
        if options:
            request["options"] = dict(options)
        kinds = {field["name"]: field["kind"] for field in self._row.get("answer", [])}
        return Answer(self._phone.request(request), kinds)


def _help(row: Mapping[str, Any]) -> str:
    lines = [row["help"] + ".", ""]
    for title, key in (("Arguments", "arguments"), ("Answer", "answer")):
        if row.get(key):
            lines += [f"{title}:"] + [f"    {field['name']}: {field['help']}" for field in row[key]]
    if row.get("statuses"):
        lines += ["Status:"] + [f"    {status['value']}: {status['text']}" for status in row["statuses"]]
    return "\n".join(lines)


class Phone:
    """A connection to a phone; made by connect(). May be used by several threads, which wait for each other."""

    def __init__(self, reader: IO[bytes], writer: IO[bytes], process: subprocess.Popen[bytes] | None = None,
                 stream: socket.socket | None = None) -> None:
        self._reader, self._writer, self._process, self._stream = reader, writer, process, stream
        self._lock = threading.Lock()
        self._ids = itertools.count(1)
        self._root = Command(self, "")
        try:
            self._learn(self.request({"ask": "catalogue"}))
        except BaseException:
            self.close()
            raise

    def _learn(self, catalogue: Mapping[str, Any]) -> None:
        self.client_version: str = catalogue["version"]
        for row in [*catalogue["commands"], *catalogue["tasks"]]:
            command = self._root
            words: List[str] = row["command"].split(" ")
            for n, word in enumerate(words, 1):
                command = command._children.setdefault(word.replace("-", "_"), Command(self, " ".join(words[:n])))
            command._describe(row)

    def __getattr__(self, name: str) -> Command:
        if name.startswith("_"):
            raise AttributeError(name)
        return getattr(self._root, name)

    def __dir__(self) -> List[str]:
        return [*super().__dir__(), *dir(self._root)]

    def raw(self, request: bytes) -> bytes:
        """Sends a request's bytes and returns those of its answer, whatever it is."""
        record = self._exchange({"command": "raw", "arguments": [request.hex()]})
        if "answer_hex" not in record:
            raise error_of(record)
        return bytes.fromhex(record["answer_hex"])

    def request(self, request: Mapping[str, Any]) -> Dict[str, Any]:
        """Sends one request of the client's line format, without its id, and returns the record of a success."""
        record = self._exchange(request)
        if record["class"] != "done":
            raise error_of(record)
        return record

    def _exchange(self, request: Mapping[str, Any]) -> Dict[str, Any]:
        with self._lock:
            number = next(self._ids)
            try:
                self._writer.write(json.dumps({"id": number, **request}).encode() + b"\n")
                self._writer.flush()
                line = self._reader.readline()
            except (OSError, ValueError) as error:
                raise Ended(f"the client is gone: {error}") from error
            if not line.endswith(b"\n"):
                raise Ended("the client is gone")
            record: Dict[str, Any] = json.loads(line)
            if record["id"] != number:
                raise Failure(f"the client answered request {record['id']} instead of {number}: {record.get('text')}", record)
            return record

    def close(self) -> None:
        """Ends the connection. Nothing happens the second time."""
        for end in (self._writer, self._reader, self._stream):
            try:
                if end is not None:
                    end.close()
            except OSError:
                pass  # the client is gone already
        if self._process is not None:
            self._process.wait()

    def __enter__(self) -> Phone:
        return self

    def __exit__(self, kind: Type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.close()


def connect(address: str | None = None, *, server: str | None = None, timeout: str | None = None,
            program: str = "vdiag") -> Phone:
    """Opens a phone.

    address: the phone, as for the client: unix:PATH, tcp:HOST:PORT, tty:PATH; the client's default without it
    server:  the socket's path of a running `vdiag serve --listen unix:PATH`, instead of an address
    timeout: how long to wait for each answer, such as "2s" (10s)
    program: the client
    """
    if server is not None:
        if address is not None or timeout is not None:
            raise ValueError("a server has its own address and time-out")
        stream = socket.socket(socket.AF_UNIX)
        try:
            stream.connect(server)
        except OSError as error:
            stream.close()
            raise ConnectFailed(f"cannot connect to {server}: {error}") from error
        return Phone(stream.makefile("rb"), stream.makefile("wb"), stream=stream)
    arguments = [program, "serve", "--quiet"]
    arguments += ["--connect", address] if address is not None else []
    arguments += ["--timeout", timeout] if timeout is not None else []
    try:
        process = subprocess.Popen(arguments, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    except OSError as error:
        raise Failure(f"cannot start {program}: {error}") from error
    assert process.stdin is not None and process.stdout is not None
    return Phone(process.stdout, process.stdin, process)
