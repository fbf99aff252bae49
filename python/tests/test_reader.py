"""Readers: every form of input, batches, what does not fit, and Arrow's stream."""

import base64
import io
import os
import pathlib

import numpy as np
import pandas as pd
import pytest

import arrow_reader
import tesparser
import wire


@pytest.fixture
def rankings(schema):
    """Five replies of Id 28; reply n has n rows, with values 100 n + row."""
    replies = []
    for n in range(1, 6):
        message = schema.reply(28)
        for row in range(n):
            message.RepDataPaiXu.add(Obj=f"SH{n}", Value=wire.packed(100 * n + row, 10))
        replies.append(message.SerializeToString())
    return replies


EXPECTED = [100.0 * n + row for n in range(1, 6) for row in range(n)]


def values(reader):
    return reader.to_pandas()["Value"].tolist()


def test_every_form_of_input(rankings, tmp_path):
    stream = wire.delimited(rankings)
    (tmp_path / "s.delimited").write_bytes(stream)
    (tmp_path / "s.hex").write_text("".join(each.hex() + "\n" for each in rankings))
    (tmp_path / "s.base64").write_bytes(b"".join(base64.b64encode(each) + b"\n" for each in rankings))
    (tmp_path / "s.log").write_text("".join(f"12:00:0{i} got reply={each.hex()} of {len(each)}\n" for i, each in enumerate(rankings)))
    for file in tmp_path.iterdir():
        assert values(tesparser.read(file, id=28)) == EXPECTED, file
        assert values(tesparser.read(str(file), id="PaiXu")) == EXPECTED
    folder = tmp_path / "folder"
    folder.mkdir()
    for i, each in enumerate(rankings):
        (folder / f"{i}.bin").write_bytes(each)
    assert values(tesparser.read(folder, id=28)) == EXPECTED
    assert values(tesparser.read(sorted(folder.iterdir()), id=28)) == EXPECTED
    for memory in (stream, bytearray(stream), memoryview(stream), np.frombuffer(stream, np.uint8)):
        assert values(tesparser.read(memory, id=28)) == EXPECTED
    assert values(tesparser.read(io.BytesIO(stream), id=28)) == EXPECTED
    with open(tmp_path / "s.delimited", "rb") as file:
        assert values(tesparser.read(file)) == EXPECTED
    assert values(tesparser.read([rankings[0], io.BytesIO(wire.delimited(rankings[1:]))], id=28)) == EXPECTED
    assert values(tesparser.read(stream, form="delimited")) == EXPECTED


def test_what_is_no_source_of_replies():
    with pytest.raises(OSError, match="form= says which"):
        list(tesparser.replies(b"\xff" * 100_000))
    (error,) = tesparser.scan(b"no reply").errors
    assert "form= says which" in error


def test_a_path_of_any_bytes(rankings, tmp_path):
    path = os.fsencode(tmp_path) + b"/\xff\xfe.bin"
    with open(path, "wb") as file:
        file.write(wire.delimited(rankings))
    assert values(tesparser.read(os.fsdecode(path))) == EXPECTED
    with open(path, "ab") as file:
        file.write(b"\x05\x01")
    with pytest.raises(tesparser.Misfit) as misfit:
        tesparser.read(pathlib.Path(os.fsdecode(path))).to_pandas()
    assert misfit.value.number == 6


def test_what_cannot_be_read(tmp_path):
    with pytest.raises(FileNotFoundError):
        tesparser.read(tmp_path / "nothing")
    with pytest.raises(FileNotFoundError):
        tesparser.read(tmp_path)
    with pytest.raises(TypeError):
        tesparser.read(5)
    with pytest.raises(TypeError, match="binary"):
        tesparser.read(io.StringIO("text"), id=28).to_pandas()
    with pytest.raises(ValueError):
        tesparser.read(b"", form="telegram")

    class Broken(io.RawIOBase):
        def read(self, size=-1):
            raise ZeroDivisionError("mine")

    with pytest.raises(ZeroDivisionError, match="mine"):
        tesparser.read(Broken(), id=28).to_pandas()
    with pytest.raises(ZeroDivisionError, match="mine"):
        list(tesparser.replies(Broken()))


def test_batches(rankings):
    stream = wire.delimited(rankings)
    reader = tesparser.read(stream, id=28, batch_rows=4)
    batches = list(reader)
    # A reply is never divided: 1 + 2 + 3 rows are more than 4 only with the third.
    assert [len(batch) for batch in batches] == [6, 4, 5]
    assert batches[0].columns == ("Obj", "Value", "Text", "HasBits") and batches[0].types == ("s", "d", "s", "q")
    assert batches[0]["Value"].tolist() == EXPECTED[:6] and batches[0]["Text"].mask.all()
    assert batches[0].to_dict()["Text"] == [None] * 6
    assert repr(batches[0]).startswith("Batch: 6 rows, 4 columns\nObj") and "<table>" in batches[0]._repr_html_()
    with pytest.raises(KeyError):
        batches[0]["x"]
    assert pd.concat([batch.to_pandas() for batch in batches])["Value"].tolist() == EXPECTED
    assert values(reader) == EXPECTED and values(reader) == EXPECTED
    assert reader.counts == tesparser.Counts(5, 15, 0, 0, 0, 0)
    assert [row["Value"] for batch in reader for row in arrow_reader.array_rows(batch.__arrow_c_array__())] == EXPECTED


def test_of_several_ids(rankings, sample):
    stream = wire.delimited([sample("20-QuoteDynaSingle"), *rankings, bytes([8, 28])])
    reader = tesparser.read(stream, id=28)
    assert values(reader) == EXPECTED
    assert reader.counts == tesparser.Counts(7, 15, 1, 1, 0, 0)
    with pytest.raises(tesparser.Misfit) as misfit:
        tesparser.read(stream).to_pandas()
    assert (misfit.value.number, misfit.value.offset) == (2, len(wire.delimited([sample("20-QuoteDynaSingle")])))


def test_misfits(rankings):
    broken = rankings[1][:-3]
    stream = wire.delimited([rankings[0], broken, *rankings[2:]])
    left = [100.0] + EXPECTED[3:]
    reader = tesparser.read(stream, id=28)
    with pytest.raises(tesparser.Misfit) as misfit:
        list(reader)
    assert misfit.value.number == 2 and misfit.value.offset == 1 + len(rankings[0]) and "reply" in str(misfit.value)
    reader = tesparser.read(stream, id=28, errors="skip")
    assert values(reader) == left and reader.counts.misfits == 1
    told = []
    assert values(tesparser.read(stream, id=28, errors=told.append)) == left
    assert [(type(each), each.number, each.offset, each.source) for each in told] == [(tesparser.Misfit, 2, 1 + len(rankings[0]), "(bytes)")]

    def fail(misfit):
        raise ZeroDivisionError

    with pytest.raises(ZeroDivisionError):
        tesparser.read(stream, id=28, errors=fail).to_pandas()
    with pytest.raises(ValueError):
        tesparser.read(stream, errors="ignore")


def test_requests_that_cannot_be(rankings):
    stream = wire.delimited(rankings)
    with pytest.raises(KeyError):
        tesparser.read(stream, id="NoSuchReply")
    with pytest.raises(KeyError):
        tesparser.read(stream, id=28, columns=["NoSuchColumn"])
    with pytest.raises(KeyError):
        tesparser.read(stream, id=28, path="NoSuchColumn").to_pandas()
    with pytest.raises(tesparser.NoTableForm):
        tesparser.read(stream, id=22)
    with pytest.raises(ValueError):
        tesparser.read(stream, id=21, path="Data", number=True)


def test_origin_columns_and_choice(rankings):
    stream = wire.delimited(rankings)
    frame = tesparser.read(stream, id=28, columns=["Value", "Obj"], number=True, offset=True).to_pandas()
    assert list(frame.columns) == ["_reply", "_offset", "Value", "Obj"]
    assert frame["_reply"].tolist() == [n for n in range(1, 6) for _ in range(n)]
    starts = [len(wire.delimited(rankings[:n])) for n in range(5)]
    assert frame["_offset"].drop_duplicates().tolist() == starts


def test_nested_and_inside(samples, sample):
    table = tesparser.table(sample("21-QuoteKlineSingle"))
    close = [bar["ShouPanJia"] for row in table for bar in row["Data"]]
    path = samples / "21-QuoteKlineSingle.bin"
    inside = tesparser.read(path, id=21, path="Data")
    assert inside.columns == table[0, "Data"].columns and inside.to_pandas()["ShouPanJia"].tolist() == close
    assert inside.fields[4].heading == "Close"
    assert [row["ShouPanJia"] for row in arrow_reader.stream_rows(inside.__arrow_c_stream__())[0]] == close
    nested = tesparser.read(path, id=21, flat=False).to_pandas()
    assert list(nested.columns) == ["Obj", "Data"] and [bar["ShouPanJia"] for cell in nested["Data"] for bar in cell] == close
    flat = tesparser.read(path, id=21, columns=["ShouPanJia"]).to_pandas()
    assert list(flat.columns) == ["Data.ShouPanJia"] and flat["Data.ShouPanJia"].tolist() == close


def test_a_source_without_rows():
    reader = tesparser.read(b"", id=21, form="delimited")
    frame = reader.to_pandas()
    assert len(frame) == 0 and list(frame.columns)[:2] == ["Obj", "Data.ShiJian"]
    assert frame["Data.ShiJian"].dtype == np.float64 and frame["Obj"].dtype == object
    assert reader.to_dict()["Obj"] == [] and reader.fields[1].kind.startswith("yyyymmdd")


def test_capsules_of_streams(rankings):
    stream = wire.delimited(rankings)
    reader = tesparser.read(stream, id=28, batch_rows=4)
    rows, batches = arrow_reader.stream_rows(reader.__arrow_c_stream__())
    assert [row["Value"] for row in rows] == EXPECTED and batches == 3
    assert len(arrow_reader.stream_rows(reader.__arrow_c_stream__())[0]) == 15
    once = tesparser.read(io.BytesIO(stream), id=28)
    assert len(arrow_reader.stream_rows(once.__arrow_c_stream__())[0]) == 15
    # Capsules that nobody takes anything out of.
    del reader, once
    tesparser.read(stream, id=28).__arrow_c_stream__()


def test_raw_replies_and_where_they_are(rankings, tmp_path):
    stream = wire.delimited(rankings)
    found = list(tesparser.replies(stream))
    assert found == rankings and all(isinstance(each, bytes) for each in found)
    starts = [len(wire.delimited(rankings[:n])) for n in range(5)]
    assert [each.offset for each in found] == starts and [each.number for each in found] == [1, 2, 3, 4, 5]
    assert tesparser.table(found[4])["Value"] == EXPECTED[-5:]
    scan = tesparser.scan(stream)
    assert scan.offset.tolist() == starts and scan.length.tolist() == [len(each) for each in rankings]
    assert scan.id.tolist() == [28] * 5 and scan.errors == () and scan.source.tolist() == [0] * 5
    (tmp_path / "a").write_bytes(stream)
    (tmp_path / "b").write_bytes(stream + b"\x7f")
    scan = tesparser.scan(tmp_path)
    assert scan.source.tolist() == [0] * 5 + [1] * 5 and len(scan.errors) == 1 and scan.sources[1].endswith("b")
    with pytest.raises(tesparser.Misfit):
        list(tesparser.replies(tmp_path / "b"))
    assert list(tesparser.replies(tmp_path / "b", errors="skip")) == rankings
    told = []
    assert list(tesparser.replies(tmp_path / "b", errors=told.append)) == rankings and told[0].source.endswith("b")


def test_progress_is_shown_by_tqdm(rankings, capsys):
    values(tesparser.read(wire.delimited(rankings), id=28, progress=True))
    assert "100%" in capsys.readouterr().err
    values(tesparser.read(wire.delimited(rankings), id=28))
    assert capsys.readouterr().err == ""


def test_frames_may_be_written_to(rankings, samples):
    for frame in (tesparser.read(wire.delimited(rankings), id=28).to_pandas(), tesparser.read(wire.delimited(rankings), id=28, batch_rows=2).to_pandas()):
        frame.loc[:, "Value"] += 1
        frame.loc[0, "HasBits"] = -7
        assert frame["Value"].tolist() == [each + 1 for each in EXPECTED] and frame["HasBits"][0] == -7
        assert frame["HasBits"][1] == 2
    # Columns do not share memory with each other, whatever they were made of.
    frame = tesparser.read(samples / "21-QuoteKlineSingle.bin", id=21).to_pandas()
    before = frame.copy(deep=True)
    for name in frame.columns[1:]:
        frame.loc[0, name] = 12345
        before.loc[0, name] = 12345
        pd.testing.assert_frame_equal(frame, before)


def test_nothing_is_said_on_standard_error(rankings, capfd):
    values(tesparser.read(wire.delimited(rankings + [bytes([8, 28, 0xE2, 1, 0])]), id=28, errors="skip"))
    with pytest.raises(tesparser.Error):
        tesparser.table(bytes([8, 28, 0xE2, 1, 0]))
    assert capfd.readouterr().err == ""
