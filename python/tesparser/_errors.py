"""What can be wrong with a reply, as exceptions."""


class Error(ValueError):
    """Something is wrong with a reply. What can be wrong is told by the classes below it."""


class NotAReply(Error):
    """The bytes are not those of a reply.

    ``offset``: where in the reply the part begins that cannot be read, in bytes.
    """

    def __init__(self, message: str, offset: int = 0) -> None:
        super().__init__(message)
        self.offset = offset


class FieldMissing(Error):
    """A required field did not arrive.

    ``field``: its path from the envelope on, ``"RepDataX.Data.Y"``.
    """

    def __init__(self, message: str, field: str = "") -> None:
        super().__init__(message)
        self.field = field


class NoTableForm(Error):
    """The library has no such table for the reply's Id."""


class NothingInIt(Error):
    """There is a table for the Id, and the reply brings nothing for it."""


class NotExpressible(Error):
    """A value is there that the form asked for does not have.

    JSON has no text that is not UTF-8 and no number that is not finite; Arrow has no
    column of tables that differ in their columns.

    ``field``: the field's path from the envelope on, of JSON only.
    """

    def __init__(self, message: str, field: str = "") -> None:
        super().__init__(message)
        self.field = field


class Misfit(Error):
    """A reply of a source could not be read, or has no place among the others.

    ``number``: which reply of its source, from 1. ``offset``: where it begins there, in
    bytes; in a log, where its line does. ``source``: the name of the source.
    """

    def __init__(self, message: str, number: int = 0, offset: int = 0, source: str = "") -> None:
        super().__init__(message)
        self.number = number
        self.offset = offset
        self.source = source
