"""What cimhost writes for programs, read by programs that are none of ours: jsonschema, csv, jq, cut."""

import csv
import io
import json
import os
import re
import subprocess
import unittest

import jsonschema

CIMHOST = os.environ["PCIINFO_CIMHOST"]
SAMPLES = os.environ["PCIINFO_SAMPLES"]
SOURCE = os.environ["PCIINFO_SOURCE"]
HOSTS = ("dell-t440", "dell-r910", "lenovo-90g0")
INSTANCE_CLASSES = ("QELTA_PCIDevice", "QELTA_PCIBridge", "QELTA_SystemSlot", "QELTA_SystemBoard",
                    "QELTA_DeviceInSlot", "QELTA_OnBoardDevice")
CLASSES = (*INSTANCE_CLASSES, "QELTA_SSPCIController", "QELTA_OBDPCIController")


def cimhost(*arguments, host="dell-t440", code=0):
    done = subprocess.run([CIMHOST, *arguments, "--host", os.path.join(SAMPLES, host)], capture_output=True, check=False)
    if done.returncode != code:
        raise AssertionError(f"{arguments}: {done.returncode}: {done.stderr}")
    return done.stdout.decode()


def questions():
    return [(command, name) for command in ("enumerate", "names") for name in CLASSES]


class JsonSchema(unittest.TestCase):
    """docs/cimhost.schema.json."""

    @classmethod
    def setUpClass(cls):
        with open(os.path.join(SOURCE, "docs", "cimhost.schema.json"), encoding="utf-8") as file:
            cls.schema = json.load(file)
        jsonschema.Draft202012Validator.check_schema(cls.schema)

    def validator(self, part=None):
        root = self.schema if part is None else {"$ref": f"#/$defs/{part}", "$defs": self.schema["$defs"]}
        return jsonschema.Draft202012Validator(root)

    def test_every_answer_is_valid(self):
        validator = self.validator()
        for host in HOSTS:
            for question in (*questions(), ("tree",), ("get", "QELTA_SystemBoard")):
                validator.validate(json.loads(cimhost(*question, "--format", "json", host=host)))
        validator.validate(json.loads(cimhost("enumerate", "QELTA_None", "--format", "json", code=1)))

    def test_every_line_is_valid(self):
        parts = {"enumerate": "instance", "names": "path", "tree": "record"}
        for question in (*questions(), ("tree",)):
            validator = self.validator(parts[question[0]])
            lines = cimhost(*question, "--format", "jsonl").splitlines()
            self.assertTrue(lines, question)
            for line in lines:
                validator.validate(json.loads(line))

    def test_what_is_wrong_is_not_valid(self):
        slots = json.loads(cimhost("enumerate", "QELTA_SystemSlot", "--format", "json"))
        for change in ({"CurrentUsage": "4"}, {"CurrentUsageText": 4}, {"Number": 65536}, {"ConnectorType": 177},
                       {"Unknown": 1}, {"path": "text"}, {"path": {**slots["instances"][0]["path"], "class": "X"}}):
            wrong = {**slots, "instances": [{**slots["instances"][0], **change}]}
            self.assertFalse(self.validator().is_valid(wrong), change)

    def test_classes_have_the_properties_that_the_mof_declares(self):
        """By the head lines of tables: they are made from the MOF files."""
        for name in INSTANCE_CLASSES:
            head = next(csv.reader(cimhost("enumerate", name, "--format", "csv").splitlines()))
            self.assertEqual(sorted({*head} - {"Class", "Path"}),
                             sorted({*self.schema["$defs"][name]["properties"]} - {"path"}), name)


class Records(unittest.TestCase):
    """CSV and TSV against JSON."""

    @staticmethod
    def field(value):
        if value is None:
            return ""
        if isinstance(value, bool):
            return str(value).upper()
        if isinstance(value, list):
            return ";".join(Records.field(each) for each in value)
        return value["text"] if isinstance(value, dict) else str(value)

    def compare(self, records, objects):
        self.assertEqual(len(records), len(objects))
        for record, object_ in zip(records, objects):
            path = object_.get("path", object_)
            self.assertEqual((record.pop("Class"), record.pop("Path")), (path["class"], path["text"]))
            values = {name: value for name, value in object_.items() if name != "path"} if "path" in object_ \
                else object_["keys"]
            self.assertEqual({name: record.pop(name) for name in values},
                             {name: self.field(value) for name, value in values.items()})
            self.assertEqual(set(record.values()) - {""}, set(), "properties that were not delivered")

    def test_csv_has_what_json_has(self):
        for host in HOSTS:
            for question in questions():
                objects = [json.loads(line) for line in cimhost(*question, "--format", "jsonl", host=host).splitlines()]
                text = cimhost(*question, "--format", "csv", host=host)
                self.compare(list(csv.DictReader(io.StringIO(text, newline=""), strict=True)), objects)

    def test_tsv_has_what_json_has_a_line_for_each_object(self):
        for question in questions():
            objects = [json.loads(line) for line in cimhost(*question, "--format", "jsonl").splitlines()]
            head, *lines = cimhost(*question, "--format", "tsv").removesuffix("\n").split("\n")
            self.compare([dict(zip(head.split("\t"), line.split("\t"), strict=True)) for line in lines], objects)


class ManPage(unittest.TestCase):
    """The pipes in the examples of cimhost(1), as they stand there."""

    @classmethod
    def setUpClass(cls):
        page = subprocess.run(["mandoc", "-T", "utf8", "-O", "width=500", os.path.join(SOURCE, "packaging", "man", "cimhost.1")],
                              capture_output=True, text=True, check=True).stdout
        examples = re.sub(r".\x08", "", page).split("\nEXAMPLES\n")[1].split("\nSEE ALSO\n")[0]
        # A command goes on in the next line where that is indented further.
        commands = re.sub(r"\n {8,}(?=\S)(?!cimhost )", " ", examples)
        cls.pipes = [line.strip() for line in commands.splitlines() if re.match(r" *cimhost .*\| *(jq|cut) ", line)]

    def output(self, part):
        """Of the one example that has this in it."""
        example, = [each for each in self.pipes if part in each]
        environment = {**os.environ, "PATH": f"{os.path.dirname(CIMHOST)}:{os.environ['PATH']}"}
        done = subprocess.run(["bash", "-o", "pipefail", "-c", example], capture_output=True, text=True, check=False,
                              cwd=SAMPLES, env=environment)
        self.assertEqual((done.returncode, done.stderr), (0, ""), example)
        return done.stdout.splitlines()

    def test_free_slots(self):
        self.assertEqual(self.output("Available"), [f"System Slot {number}" for number in (1, 2, 3, 5)])

    def test_paths_of_slots_can_be_asked_for(self):
        paths = self.output("jq -r .text")
        self.assertEqual(len(paths), 5)
        for path in paths:
            self.assertIn("CMPI_RC_OK, 1 instance", cimhost("get", path))

    def test_what_sits_in_which_slot(self):
        lines = self.output('.place == "slot"')
        self.assertEqual(len(lines), 13)
        self.assertEqual([line.split("\t")[:2] for line in lines][:2], [["1", "16:01.0"], ["5", "00:05.0"]])

    def test_functions_of_each_vendor_are_counted(self):
        counts = [json.loads(line) for line in self.output("group_by(.VendorID)")]
        devices = json.loads(cimhost("enumerate", "QELTA_PCIDevice", "--format", "json"))["instances"]
        self.assertEqual(sum(count for _, count in counts), len(devices))
        self.assertIn(0x8086, [vendor for vendor, _ in counts])

    def test_columns_of_the_tree(self):
        lines = self.output("| cut ")
        self.assertEqual(lines[0], "number\tlocation\tdescription")
        self.assertEqual(len(lines), 1 + 123 + 3)

    def test_no_pipe_is_left_out(self):
        self.assertEqual(len(self.pipes), 5)


if __name__ == "__main__":
    unittest.main(verbosity=2)
