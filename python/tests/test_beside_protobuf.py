"""python3-protobuf with the same schema in one process, in both orders of import.

Debian's is implemented in C++ on the same libprotobuf as ours, where a file that is registered twice ends a process. The
implementation in plain Python is tried as well.
"""

import os
import subprocess
import sys

import pytest

PROGRAM = """
import sys, pathlib
descriptors, sample, order = pathlib.Path(sys.argv[1]).read_bytes(), pathlib.Path(sys.argv[2]).read_bytes(), sys.argv[3]
if order == "ours first":
    import tesparser
    ours = tesparser.table(sample)
    tesparser.json(sample)
from google.protobuf import descriptor_pb2, descriptor_pool, message_factory
from google.protobuf.internal import api_implementation
# The default pool is the one that generated modules use.
pool = descriptor_pool.Default()
for file in descriptor_pb2.FileDescriptorSet.FromString(descriptors).file:
    pool.AddSerializedFile(file.SerializeToString())
Envelope = message_factory.MessageFactory(pool).GetPrototype(pool.FindMessageTypeByName("tessel.MSG"))
theirs = Envelope.FromString(sample)
import tesparser
ours = tesparser.table(sample)
assert [each.Obj for each in theirs.RepDataQuoteDynaSingle] == ours["Obj"]
assert theirs.SerializeToString() == sample and '"SH600000"' in tesparser.json(sample)
assert tesparser.table(theirs.SerializeToString())["Obj"] == ours["Obj"]
assert len(tesparser.read(sample).to_pandas()) == 8 and len(tesparser.read(sample, id=20, decode=True).to_pandas()) == 8
try:
    Envelope.FromString(b"\\x08")
except Exception as error:
    print(api_implementation.Type(), type(error).__name__)
"""


@pytest.mark.parametrize("implementation", ["cpp", "python"])
@pytest.mark.parametrize("order", ["ours first", "theirs first"])
def test_beside_protobuf(order, implementation, schema, samples, tmp_path):
    descriptors = tmp_path / "all.desc"
    descriptors.write_bytes(schema.descriptors)
    environment = {**os.environ, "PROTOCOL_BUFFERS_PYTHON_IMPLEMENTATION": implementation}
    words = [sys.executable, "-c", PROGRAM, descriptors, samples / "20-QuoteDynaSingle.bin", order]
    done = subprocess.run(words, env=environment, capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    assert done.stdout.split() == [implementation, "DecodeError"]
