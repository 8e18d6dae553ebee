"""What is told to the user."""


class BatchError(Exception):
    """Something outside the program is wrong: an input, the disk, a cluster. The text says what."""


class StoreFullError(BatchError):
    """Results cannot be written; what was written before is whole."""
