"""Cases: one call of a function with the answers of the host, for tests of all functions.

A case is a row of fault_rows/ without its outcomes. failure() derives the exception that a failure
of the host causes from the function's rule in fault_rows/.
"""

import collections

import entries
import fault_rows
import pyquelt
import scripted

entries.select(pyquelt)

Case = collections.namedtuple("Case", "function args kwargs answers")

#: The success path of each function.
SUCCESS = collections.OrderedDict()
for _row in fault_rows.all_rows():
    SUCCESS.setdefault(_row[0], Case(*_row[:4]))

#: Operations that cannot fail.
SILENT = {"ObjLib_Exit", "ObjLib_FreeExtParams"}

# The operation decides the exception: the work on one object, and queries with the GIL held.
_OPERATION_RULES = dict.fromkeys(("IsObjectAccessible", "ObjLib_GetExtParams", "DDBGet"),
                                 fault_rows.objects.OF_ONE)
_OPERATION_RULES.update(IsQueltCSDFeatureEnabled=None, BuildQueltIPAddress=None)

# GetQueltNetworkInfo calls these with the GIL held: they only read the interface object.
GETTERS = [
    "GetZelnicName", "GetIfaceUuid", "GetAgentMulticastGroup", "GetAgentV6MulticastGroup",
    "GetMasterMulticastGroup", "GetMasterV6MulticastGroup", "GetTrafficType",
    "GetAgentMulticastPort", "GetMasterMulticastPort", "GetHostUnicastPort", "GetMulticastTTL"]


def held(case):
    """The operations of a case that are called with the GIL held."""
    return scripted.CALLED_WITH_GIL | set(GETTERS if case.function == "GetQueltNetworkInfo" else ())


def set_answers(case):
    """Resets the host and sets the answers of the case and the synchronisation callback."""
    scripted.reset()
    scripted.set_sync_callback(True)
    for operation, answer in case.answers.items():
        scripted.answer(operation, answer)


def renewed(value, number):
    """The case, or a part of it, with `number` appended to each text that ends in "+": two calls
    then share no text."""
    if isinstance(value, Case):
        return Case(*[renewed(item, number) for item in value])
    if isinstance(value, dict):
        return {name: renewed(item, number) for name, item in value.items()}
    if isinstance(value, (list, tuple)):
        return type(value)([renewed(item, number) for item in value])
    return value + str(number) if isinstance(value, str) and value.endswith("+") else value


def outcome(function, case):
    """Calls `function`: the result, or the exception's (type, text)."""
    try:
        return function(*case.args, **case.kwargs)
    except Exception as error:  # pylint: disable=broad-except
        return type(error), str(error)


def operations(module, case):
    """The operations of a case that can fail, in order: (operation, number of earlier calls)."""
    set_answers(case)
    getattr(module, case.function)(*case.args, **case.kwargs)
    made = [operation for operation, _ in scripted.calls()]
    return [(operation, made[:i].count(operation)) for i, operation in enumerate(made)
            if operation[0] != "~" and operation not in SILENT]


def failing(case, operation, skip, answer):
    """The case in which `operation` returns `answer` after `skip` usual answers."""
    usual = case.answers.get(operation, {})
    return case._replace(answers=dict(case.answers, **{operation: [usual] * skip + [answer]}))


def with_failures(module):
    """The success path of each function, and with each of its operations failing."""
    for case in SUCCESS.values():
        made = operations(module, case)
        yield case
        for operation, skip in made:
            if skip == 0:
                yield failing(case, operation, 0, scripted.throws("no"))


def rejected():
    """Each row of FAILURES: (case, operations with an answer of the row, outcome)."""
    for function, given, answers, expected in fault_rows.FAILURES:
        usual = SUCCESS[function]
        yield Case(function, given if isinstance(given, tuple) else usual.args,
                   given if isinstance(given, dict) else usual.kwargs,
                   dict(usual.answers, **answers)), list(answers), expected


def failure(case, operation, kind, text):
    """The exception that one of the host causes. `text` is its text, as a script reads it."""
    rule = _OPERATION_RULES.get(operation, fault_rows.HOST.get(case.function))
    if kind in ("int", "foreign"):
        return fault_rows.UNKNOWN
    if rule and (rule.catches == "std" or kind == "QueltCtlException"):
        return rule.outcome(text=text, **rule.values)
    return fault_rows.MEMORY if kind == "std::bad_alloc" else fault_rows.OTHER(text=text)
