"""Ways through the module's functions, for the tests that sweep over all of them.

A way is a row of fault_rows/ without its outcomes. What a host's failure on a way becomes is
computed here, by the function's rule in fault_rows/.
"""

import collections

import fault_rows
import scripted

Way = collections.namedtuple("Way", "function args kwargs answers")

#: One way to success for each function.
WAYS = collections.OrderedDict()
for _row in fault_rows.all_rows():
    WAYS.setdefault(_row[0], Way(*_row[:4]))

#: Operations that cannot fail.
SILENT = {"ObjLib_Exit", "ObjLib_FreeExtParams"}

# Where the operation decides: the work on one object, and what is asked with the GIL held.
_OPERATION_RULES = dict.fromkeys(("IsObjectAccessible", "ObjLib_GetExtParams", "DDBGet"),
                                 fault_rows.objects.OF_ONE)
_OPERATION_RULES.update(IsQueltCSDFeatureEnabled=None, BuildQueltIPAddress=None)

# Operations that GetQueltNetworkInfo calls with the lock held: the interfaces answer by themselves.
GETTERS = {
    "GetZelnicName", "GetIfaceUuid", "GetAgentMulticastGroup", "GetAgentV6MulticastGroup",
    "GetMasterMulticastGroup", "GetMasterV6MulticastGroup", "GetTrafficType",
    "GetAgentMulticastPort", "GetMasterMulticastPort", "GetHostUnicastPort", "GetMulticastTTL"}


def held(way):
    """The operations of a way that are called with the lock held."""
    return scripted.MADE_WITH_LOCK | (GETTERS if way.function == "GetQueltNetworkInfo" else set())


def set_answers(way):
    """Begins anew, with the way's answers and all that can be called."""
    scripted.reset()
    scripted.set_sync_callback(True)
    for operation, answer in way.answers.items():
        scripted.answer(operation, answer)


def renewed(value, number):
    """The way, or what it consists of, with `number` behind each text that ends in "+", so that no
    two calls need have a text in common."""
    if isinstance(value, Way):
        return Way(*[renewed(item, number) for item in value])
    if isinstance(value, dict):
        return {name: renewed(item, number) for name, item in value.items()}
    if isinstance(value, (list, tuple)):
        return type(value)([renewed(item, number) for item in value])
    return value + str(number) if isinstance(value, str) and value.endswith("+") else value


def outcome(function, way):
    """Calls `function`: the result, or the exception's (type, text)."""
    try:
        return function(*way.args, **way.kwargs)
    except Exception as error:  # pylint: disable=broad-except
        return type(error), str(error)


def operations(module, way):
    """The operations of the host on the way that can fail, in order: (operation, how many of its
    calls come before)."""
    set_answers(way)
    getattr(module, way.function)(*way.args, **way.kwargs)
    made = [operation for operation, _ in scripted.calls()]
    return [(operation, made[:i].count(operation)) for i, operation in enumerate(made)
            if operation[0] != "~" and operation not in SILENT]


def failing(way, operation, good, answer):
    """The way on which `operation` gives `answer` after `good` calls."""
    usual = way.answers.get(operation, {})
    return way._replace(answers=dict(way.answers, **{operation: [usual] * good + [answer]}))


def all_ways(module):
    """Each function's way to success, and with each of its operations failing."""
    for way in WAYS.values():
        made = operations(module, way)
        yield way
        for operation, good in made:
            if good == 0:
                yield failing(way, operation, 0, scripted.throws("no"))


def failure(way, operation, kind, text):
    """What an exception of the host becomes. `text` is what a script would read of it."""
    rule = _OPERATION_RULES.get(operation, fault_rows.HOST.get(way.function))
    if kind in ("int", "foreign"):
        return fault_rows.UNKNOWN
    if rule and (rule.catches == "std" or kind == "QueltCtlException"):
        return rule.outcome(text=text, **rule.values)
    return fault_rows.MEMORY if kind == "std::bad_alloc" else fault_rows.OTHER(text=text)
