"""What scripts get when an interpreter call of the module fails: one file for each subject.

A row is (function, arguments, keyword arguments, answers of the host by operation, outcomes):
outcomes gives, for each interpreter call that can fail, the exception's type and text. Where the
outcome depends on the place of the call, a list gives it for each place in turn. A refused call
composes its message with PyUnicode_DecodeUTF8.
"""

MEMORY = (MemoryError, "")


def runtime(text):
    return (RuntimeError, text)


BAD_PARAMETERS = runtime("Failed to extract parameters")
