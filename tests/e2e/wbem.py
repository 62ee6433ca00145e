"""The two sides of an end-to-end test: a WBEM client (wbemcli) and what cimhost answers without HTTP, in one form.

Both are brought to sorted lists of texts: paths as "Class.key=value,..." without host and namespace, with their keys in
the order of their names, as object managers give keys in any order; instances as such a path and its properties that
have a value, sorted by name.
"""

import collections
import contextlib
import json
import os
import re
import select
import subprocess

TIME_LIMIT = 90  # seconds for one command, far above what any takes
NAMESPACE = "root/kavix"
# wbemcli prints paths within values without the colon after the namespace.
_PLACE = re.compile(r'[^\s"=,/]*/?' + NAMESPACE + ":?(?=QELTA_)", re.IGNORECASE)

_PATH = re.compile(r"QELTA_\w+\.")
_REFERENCE = re.compile(r"\w+=QELTA_\w+\.")
_KEY = re.compile(r'(?:[^,"]|"(?:[^"\\]|\\.)*")+')


@contextlib.contextmanager
def serving(host):
    """The URL of a server, see served()."""
    with served(host) as server:
        yield server.url


Server = collections.namedtuple("Server", "url pid")


@contextlib.contextmanager
def served(host, *arguments, log=subprocess.DEVNULL, **environment):
    """`cimhost serve` on a free loopback port, while the context lasts; it has to end with status 0."""
    command = [cimhost_program(), "serve", "--port", "0", "--host", host, *arguments]
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=log, text=True,
                          env=os.environ | environment) as process:
        try:
            ready, _, _ = select.select([process.stdout], [], [], TIME_LIMIT)
            line = process.stdout.readline() if ready else ""
            announced = re.fullmatch(r"Listening on (http://127\.0\.0\.1:\d+)\n", line)
            if not announced:
                raise RuntimeError(f"{' '.join(command)}: said {line!r}")
            yield Server(announced[1], process.pid)
            process.terminate()
            process.communicate(timeout=TIME_LIMIT)
        finally:
            process.kill()
    if process.returncode != 0:
        raise RuntimeError(f"the server ended with status {process.returncode}")


class Answer:
    """What wbemcli said: exit code, standard output, standard error."""

    def __init__(self, code, out, err):
        self.code, self.out, self.err = code, out, err

    def _checked_lines(self):
        if self.code != 0 or self.err:
            raise AssertionError(f"wbemcli: exit code {self.code}, {self.err or self.out}")
        return [line for line in self.out.splitlines() if line]

    def names(self):
        return sorted(canonical(_without_place(line)) for line in self._checked_lines())

    def instances(self):
        """Out of the output of -nl: a path per line, with a line "-name=value" for each property after it."""
        found = []
        for line in self._checked_lines():
            if not line.startswith("-"):
                found.append((canonical(_without_place(line)), []))
            elif not line.endswith("="):  # no value
                name, value = line[1:].split("=", 1)
                found[-1][1].append(f"{name}={canonical(_without_place(value))}")
        return sorted((path, sorted(properties)) for path, properties in found)

    def error(self):
        """The CIM status code, or None."""
        told = re.search(r"wbemcli: Cim: \((\d+)\)", self.err)
        return int(told.group(1)) if told and self.code != 0 else None


def _without_place(text):
    return _PLACE.sub("", text)


def canonical(text):
    """A path with its keys sorted, those of the references in it as well; a text that is no path as it is.

    Keys after a reference are those of what it refers to, up to the next reference: wbemcli does not tell them apart.
    """
    if not _PATH.match(text):
        return text
    class_name, keys = text.split(".", 1)
    groups = []
    for key in _KEY.findall(keys):
        if groups and _REFERENCE.match(groups[-1]) and not _REFERENCE.match(key):
            groups[-1] += "," + key
        else:
            groups.append(key)
    bound = (group.split("=", 1) for group in groups)
    return class_name + "." + ",".join(sorted(f"{name}={canonical(value)}" for name, value in bound))


def wbemcli(url, operation, path, *options, arguments=()):
    """Asks `operation` ("ei", "ain"...) about the path "Class" or "Class.key=value,..."."""
    # Wherever names are asked for, -nl would only change the line ends.
    line_per_property = ["-nl"] if operation in ("ei", "gi", "ai", "ri") else []
    command = ["wbemcli", operation, *line_per_property, *options, f"{url}/{path}", *arguments]
    done = subprocess.run(command, capture_output=True, text=True, timeout=TIME_LIMIT, check=False)
    return Answer(done.returncode, done.stdout, done.stderr)


class Cimhost:
    """The provider's answers to the same questions, asked by cimhost itself."""

    def __init__(self, host):
        self._options = ["--host", host, "--format", "json"]

    def ask(self, *question):
        done = subprocess.run([cimhost_program(), *question, *self._options], capture_output=True, text=True,
                              timeout=TIME_LIMIT, check=False)
        return json.loads(done.stdout)

    def names(self, *question):
        return sorted(url_path(name) for name in self.ask(*question)["names"])

    def instances(self, *question):
        return sorted((url_path(instance), sorted(_properties(instance))) for instance in
                      self.ask(*question)["instances"])


def url_path(object_):
    """The path of an instance or a name as wbemcli prints it and takes it, without place: references within it are not
    quoted."""
    path = object_.get("path", object_)
    return canonical(path["class"] + "." + ",".join(f"{name}={_value(value)}" for name, value in path["keys"].items()))


def property_names(instance):
    """Those that are delivered, without the texts that are put beside codes."""
    return [name for name in instance
            if name != "path" and not (name.endswith("Text") and name.removesuffix("Text") in instance)]


def client_path(object_):
    """The path to ask wbemcli about: every object in it with its namespace."""
    return re.sub(r"(?<![\w\"])(?=QELTA_\w+\.)", NAMESPACE + ":", url_path(object_))


def _properties(instance):
    return [f"{name}={_value(instance[name])}" for name in property_names(instance)
            if instance[name] is not None and instance[name] != []]


def _value(value):
    if isinstance(value, bool):
        return "TRUE" if value else "FALSE"
    if isinstance(value, list):
        return ",".join(_value(element) for element in value)
    if isinstance(value, dict):
        return url_path(value)
    return str(value) if isinstance(value, int) else f'"{value}"'


def sample(name):
    return os.path.join(os.environ["PCIINFO_SAMPLES"], name)


def cimhost_program():
    return os.environ["PCIINFO_CIMHOST"]
