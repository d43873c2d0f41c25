"""docs/reference.md and the type stubs match the module. The tests on the scripted host cover the
exceptions and operations that the page lists.
"""

import ast
import doctest
import html
import re
import sys
import unittest

import hosts
import pyquelt
import reference

_PAGE = reference.read(reference.PAGE)
#: Pairs of a function's name and its section of the page.
SECTIONS = [(part.split("\n", 1)[0], part) for part in
            re.split(r"^##+ ", _PAGE, flags=re.MULTILINE) if "```python\n" in part]
FUNCTIONS = {name for name in dir(pyquelt) if callable(getattr(pyquelt, name))
             and not name.startswith("__")}
CONSTANTS = {name: getattr(pyquelt, name) for name in dir(pyquelt) if name.isupper()}


class _ResultChecker(doctest.OutputChecker):
    """Compares results as Python values: the order and line breaks of dictionaries don't matter."""

    def check_output(self, want, got, optionflags):
        try:
            return ast.literal_eval(want) == ast.literal_eval(got)
        except (SyntaxError, ValueError):
            return doctest.OutputChecker.check_output(self, want, got, optionflags)


class PageTest(hosts.HostTestCase):

    def test_page_lists_exactly_the_modules_functions_and_constants(self):
        self.assertEqual(sorted(name for name, _ in SECTIONS), sorted(FUNCTIONS))
        rows = re.findall(r"^\| `([A-Z_0-9]+)` \| `(.*?)` \|", _PAGE, re.MULTILINE)
        self.assertEqual({name: ast.literal_eval(value) for name, value in rows}, CONSTANTS)

    def test_derived_parts_of_the_page_match_their_sources(self):
        self.assertEqual(reference.render(_PAGE), _PAGE, "run ./run reference")

    def test_diagram_shows_the_words_and_arrows_of_its_source(self):
        source = reference.read("docs", "architecture.dot")
        labels = " ".join(re.findall(r'label="((?:\\.|[^"])*)"', source))
        words = labels.replace("\\n", " ").replace('\\"', '"').split()
        drawn = html.unescape(reference.read("docs", "architecture.svg"))
        shown = " ".join(re.findall("<text.*?>(.*?)</text>", drawn)).split()
        self.assertEqual(sorted(shown), sorted(words), "docs/architecture.dot says how to draw it")
        arrows = re.findall(r"\w+ -> \w+", source)
        self.assertEqual(sorted(re.findall(r"<title>(\w+->\w+)</title>", drawn)),
                         sorted(arrow.replace(" ", "") for arrow in arrows))

    def test_every_operation_belongs_to_a_function(self):
        listed = self.tool("fail", "--help").split("Operations:")[1].split()
        self.assertEqual(set(listed), set().union(*reference.OPERATIONS.values()))

    def test_examples_return_the_results_shown(self):
        parser = doctest.DocTestParser()
        runner = doctest.DocTestRunner(_ResultChecker(), False, doctest.NORMALIZE_WHITESPACE)
        native = _PAGE.split("\n## Native symbols\n")[1]
        for name, section in SECTIONS + [("ZEL_ReturnStatusToString", native)]:
            with self.subTest(name):
                self.setUp()
                examples = "\n".join(re.findall(r"```pycon\n(.*?)```", section, re.DOTALL))
                self.assertIn(name, examples)
                test = parser.get_doctest(examples, {"pyquelt": pyquelt}, name, None, 0)
                output = []
                self.assertEqual(runner.run(test, out=output.append).failed, 0, "".join(output))


@unittest.skipIf(sys.version_info < (3, 8), "this interpreter cannot read the stubs")
class StubsTest(unittest.TestCase):

    def test_stubs_match_the_module_and_the_page(self):
        body = ast.parse(reference.read("python", "pyquelt-stubs", "__init__.pyi")).body
        functions = {node.name: node for node in body if isinstance(node, ast.FunctionDef)}
        self.assertEqual({name: ast.get_docstring(node) for name, node in functions.items()},
                         {name: getattr(pyquelt, name).__doc__ for name in FUNCTIONS})
        self.assertEqual({node.target.id: ast.literal_eval(node.value) for node in body
                          if isinstance(node, ast.AnnAssign)}, CONSTANTS)
        self.assertEqual([node.name for node in body if isinstance(node, ast.ClassDef)
                          and not node.name.startswith("_")], [])
        for name, section in SECTIONS:
            arguments = functions[name].args
            for argument in ast.walk(arguments):
                if isinstance(argument, ast.arg):
                    self.assertIsNotNone(argument.annotation, name)
                    argument.annotation = None
            text = re.search(r"```python\n(.*?)```", section, re.DOTALL).group(1)
            signature = " ".join(text.split())
            if name in ("CreateObject", "DeleteObject"):  # their keywords reject None
                signature = signature.replace("=None", "=...")
            page = ast.parse("def " + signature + ": ...").body[0].args
            self.assertEqual(ast.dump(arguments), ast.dump(page), name)
            self.assertIsNotNone(functions[name].returns, name)
