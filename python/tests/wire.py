"""Replies made by reflection, and what must become of them: written by hand, in plain Python, of nothing of ours."""

from __future__ import annotations

import pathlib
import random
import subprocess

from google.protobuf import descriptor_pb2, descriptor_pool, message_factory

DIVISORS = {0: 100, 1: 10, 3: 10**3, 4: 10**4, 5: 10**5, 6: 10**6, 7: 10**7, 8: 10**8, 9: 10**9, 10: 1}


def unpacked(raw: int):
    """The number in 64 packed bits, and the divisor: bits 0 to 15 and 24 to 62 are the mantissa, 16 to 19 the scale
    code, 20 to 23 the sign. No number is 0.0 with divisor 0."""
    code = raw >> 16 & 15
    if raw < 0 or code not in DIVISORS:
        # Where only the scale code is bad, nothing tells but that 0.0.
        return 0.0, 0
    mantissa = (raw & 0xFFFF) | (raw >> 24) << 16
    number = float(mantissa) / DIVISORS[code]
    return (-number if raw >> 20 & 15 else number), DIVISORS[code]


def truncated(raw: int) -> int:
    return int(unpacked(raw)[0])


def packed(mantissa: int, code: int, negative: bool = False) -> int:
    return (mantissa & 0xFFFF) | code << 16 | (1 << 20 if negative else 0) | (mantissa >> 16) << 24


def delimited(replies) -> bytes:
    """Each with its length as a varint before it."""
    stream = bytearray()
    for reply in replies:
        size = len(reply)
        while size >= 0x80:
            stream.append(size & 0x7F | 0x80)
            size >>= 7
        stream.append(size)
        stream += reply
    return bytes(stream)


def table_column(table, name: str):
    """A column of tables behind those of a wire table; gives the table in its first cell."""
    table.Info.add(Name=name, Type=116)
    return table.Data.add(Index=len(table.Data)).tValues.add()


class Schema:
    def __init__(self, descriptors: bytes) -> None:
        self.descriptors = descriptors
        self.pool = descriptor_pool.DescriptorPool()
        for file in descriptor_pb2.FileDescriptorSet.FromString(descriptors).file:
            self.pool.AddSerializedFile(file.SerializeToString())
        self._factory = message_factory.MessageFactory(self.pool)

    @classmethod
    def compile(cls, folder: pathlib.Path, to: pathlib.Path) -> "Schema":
        files = sorted(file.name for file in folder.glob("*.proto"))
        subprocess.run(["protoc", f"-I{folder}", "--include_imports", f"--descriptor_set_out={to}", *files], check=True, cwd=folder)
        return cls(to.read_bytes())

    def new(self, name: str):
        return self._factory.GetPrototype(self.pool.FindMessageTypeByName(f"tessel.{name}"))()

    def reply(self, id: int):
        message = self.new("MSG")
        message.Id = id
        return message

    def wire_reply(self):
        """A reply of Id 3, and the table in it, which has no columns yet."""
        message = self.reply(3)
        return message, table_column(message.Tbl, "wrapper")

    def fill(self, message, chance: random.Random, depth: int = 3) -> None:
        """Some of the fields, required ones always."""
        for field in message.DESCRIPTOR.fields:
            required = field.label == field.LABEL_REQUIRED
            if not required and (depth == 0 or chance.random() < 0.2):
                continue
            if field.label == field.LABEL_REPEATED:
                for _ in range(chance.randrange(4)):
                    if field.message_type is not None:
                        self.fill(getattr(message, field.name).add(), chance, depth - 1)
                    else:
                        getattr(message, field.name).append(value_of(field, chance))
            elif field.message_type is not None:
                child = getattr(message, field.name)
                child.SetInParent()
                self.fill(child, chance, depth - 1)
            else:
                setattr(message, field.name, value_of(field, chance))


def value_of(field, chance: random.Random):
    if field.enum_type is not None:
        return chance.choice(field.enum_type.values).number
    if field.cpp_type == field.CPPTYPE_STRING:
        if field.type == field.TYPE_BYTES:
            return chance.randbytes(chance.randrange(6))
        return "".join(chance.choice("ab01东海银行€ÿ\U00020000\"\\\n") for _ in range(chance.randrange(6)))
    if field.cpp_type == field.CPPTYPE_INT64:
        return chance.choice([packed(chance.getrandbits(39), chance.randrange(16), chance.random() < 0.3), chance.getrandbits(63), -chance.getrandbits(62), 0x20000, 0])
    if field.cpp_type == field.CPPTYPE_INT32:
        return chance.randrange(-(2**31), 2**31)
    if field.cpp_type == field.CPPTYPE_UINT32:
        return chance.getrandbits(32)
    if field.cpp_type == field.CPPTYPE_UINT64:
        return chance.getrandbits(64)
    if field.cpp_type == field.CPPTYPE_BOOL:
        return chance.random() < 0.5
    return chance.uniform(-1e6, 1e6)
