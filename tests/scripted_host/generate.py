"""Defines the operations that platform/ declares, for the scripted host: each is an Answer to its
inputs, with the outputs and the result of the script.

    generate.py PLATFORM_FOLDER OUTPUT_FOLDER
"""

import os
import re
import sys

PLATFORM, OUTPUT = sys.argv[1:]
# Operations that are written by hand.
OWN = ("GetZelNicConfigs", "GetClusterConfig", "GetIloAuth", "BuildQueltIPAddress", "ObjLib_Init",
       "ObjLib_Exit", "ObjLib_GetExtParams", "ObjLib_FreeExtParams", "DDBGet")
# The number of bytes behind an input pointer, by the name of the input.
SIZES = {"key": "length", "dek": "ENCR_DEK_SIZE", "block": "ENCR_BLOCK_SIZE", "cid": "16",
         "groupUuid": "16", "uuid": "16"}
METHOD = re.compile(r"(?:virtual |static )?([\w:<>]+\*?) (\w+)\(([^()]*)\)(?: const)?(?: = 0)?;")
PARAMETER = re.compile(r"((?:<.*>|[^,<])*[ &*])(\w+)(?:, |$)")
FIELD = re.compile(r"[\w:]+ (\w+)(?: = [^;]*)?;")


def declared(form, file, block):
    """The declarations of this form in a block of a header."""
    with open(os.path.join(PLATFORM, file)) as source:
        text = re.sub("(//|#).*", "", source.read())
    inside = re.search(block + r"[^;{]*\{(.*?)\n\}", text, re.DOTALL).group(1)
    return form.findall(" ".join(inside.split()))


def answer(result, name, parameters):
    """The body of an operation."""
    inputs, outputs = ['"%s"' % name], []
    for kind, parameter in PARAMETER.findall(parameters):
        kind = kind.strip()
        if kind.startswith("const ") or kind == "void*" or kind[-1] not in "&*":
            inputs.append("scripted::Bytes(%s, %s)" % (parameter, SIZES[parameter])
                          if kind[-1] == "*" and parameter in SIZES else parameter)
        else:
            is_number = kind[-1] == "*" and kind not in ("unsigned char*", "std::uint8_t*")
            outputs += ['"%s"' % parameter, "*" * is_number + parameter]
    made = "scripted::Answer(%s).Out(%s)" % (", ".join(inputs), ", ".join(outputs))
    # Without a script, an operation succeeds and a query is answered with false.
    usual = "" if result != "bool" else "false" if re.match("Is|Lookup", name) else "true"
    if result.startswith("std::shared_ptr"):
        usual = "std::make_shared<%s::element_type>()" % result
    return made + ";" if result == "void" else "return %s.Returns<%s>(%s);" % (made, result, usual)


def definitions(form, file, block):
    return "".join(form.format(*each, body=answer(*each)) for each in declared(METHOD, file, block)
                   if each[1] not in OWN)


def reader(file, struct):
    """Reads a structure by the names of its fields."""
    return "void Read(const json& from, HostCtl::Quelt::%s& read) { ReadMembers(from, %s); }\n" % (
        struct, ", ".join('"{0}", read.{0}'.format(field)
                          for field in declared(FIELD, file, "struct " + struct.split("::")[-1])))


def write(name, *parts):
    with open(os.path.join(OUTPUT, name), "w") as file:
        file.writelines(parts)


GETTER = '{0} {1}({2}) const override {{ return Value<{0}>("{1}"); }}\n'
STATIC = "{0} ZelCtl::Quelt::%s::{1}({2}) {{ {body} }}\n"
write("interface.inc", *[definitions(GETTER, "network.h", name)
                         for name in ("QueltZelNicConfig", "QueltZelNicConfig2")])
write("host_system.inc", definitions("{0} {1}({2}) override {{ {body} }}\n", "plugin.h",
                                     "HostSystem"))
write("operations.cpp",
      '#include "platform/config_store.h"\n#include "tests/scripted_host/script.h"\n'
      "// NOLINTBEGIN(performance-unnecessary-value-param): as declared\n",
      definitions(STATIC % "QueltConfigStore", "config_store.h", "QueltConfigStore"),
      definitions(STATIC % "QueltUtil", "quelt_util.h", "QueltUtil"),
      definitions("{0} {1}({2}) {{ {body} }}\n", "object_library.h", 'extern "C"'),
      "namespace scripted {\n", reader("encryption.h", "KmsServerInfo"),
      reader("unicast.h", "QueltInfo::QueltUnicastAddressInfo"),
      "}\n// NOLINTEND(performance-unnecessary-value-param)\n")
