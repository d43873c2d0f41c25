"""State files and dumps of earlier versions load unchanged.

data/state_v2.db.gz is a state file of schema version 2, with rows in every table;
data/dump_v2.json is its dump with secrets.
"""

import gzip
import json
import os
import shutil

import hosts

DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "data")
DUMP_FILE = os.path.join(DATA, "dump_v2.json")
FAULTS = 'ObjUtil_Create: delay, 0.5 s late\nSetIloAuth: throw "disk full", after 2 more, 3 times\n'


class CompatibilityTest(hosts.HostTestCase):

    def setUp(self):
        super().setUp()
        with open(DUMP_FILE, encoding="utf-8") as file:
            self.expected = json.load(file)

    def test_state_file_of_schema_version_2_loads_unchanged(self):
        state = os.path.join(self.fresh_folder(), "host.db")
        with gzip.open(os.path.join(DATA, "state_v2.db.gz")) as source, open(state, "wb") as copy:
            shutil.copyfileobj(source, copy)
        self.assertEqual(json.loads(self.tool("dump", "--secrets", state=state)), self.expected)
        self.assertEqual(self.tool("faults", state=state), FAULTS)
        records = self.tool("journal", "show", state=state)
        for text in "GetHardwareSku", "first=admin, second=(10 bytes)":
            self.assertIn(text, records)

    def test_dump_of_schema_version_2_loads_unchanged(self):
        self.tool("load", DUMP_FILE)
        self.assertEqual(self.dump(), self.expected)
