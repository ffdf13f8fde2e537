#!/usr/bin/env python3
"""What each kind of mutant of scripts/mutation makes of a small source."""
import pathlib
import sys
import unittest

# Tests leave nothing among the sources.
sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).parent / "lib"))

from mutants import mutants_of


def in_function(body, head="void f(int a, int b)"):
    return f"{head} {{\n{body}\n}}\n"


class mutants(unittest.TestCase):
    def made(self, kind, source):
        """The mutants of this kind, in one line each."""
        return {" ".join(one.change(source).split()) for one in mutants_of("f.cpp", source) if one.kind == kind}

    def of_body(self, kind, body, head="void f(int a, int b)"):
        """The bodies of the mutants of this kind."""
        begin = " ".join(head.split()) + " { "
        found = self.made(kind, in_function(body, head))
        self.assertTrue(all(text.startswith(begin) and text.endswith(" }") for text in found), found)
        return {text[len(begin) : -2] for text in found}


class swapped_statements(mutants):
    def test_are_neighbours_in_the_other_order(self):
        self.assertEqual(self.of_body("swapped statements", "open(); read(); close();"),
                         {"read(); open(); close();", "open(); close(); read();"})

    def test_may_be_blocks_and_conditions(self):
        self.assertEqual(self.of_body("swapped statements", "{ open(); }\nif (a < b) { read(); } else { skip(); }"),
                         {"if (a < b) { read(); } else { skip(); } { open(); }"})

    def test_include_the_call_of_a_return(self):
        self.assertEqual(self.of_body("swapped statements", "open(); return read();"),
                         {"auto mutant_result = read(); open(); return mutant_result;"})

    def test_leave_a_declaration_before_its_use(self):
        self.assertEqual(self.of_body("swapped statements", "const auto file = open(); read(file);"), set())

    def test_leave_out_what_has_no_effect(self):
        self.assertEqual(self.of_body("swapped statements", "int n = 0; open(); a = 1; b = 2;"),
                         {"int n = 0; a = 1; open(); b = 2;"})

    def test_take_a_lambda_for_a_part_of_its_statement(self):
        self.assertEqual(self.of_body("swapped statements", "run([&] { open(); }); read();"),
                         {"read(); run([&] { open(); });"})

    def test_ignore_semicolons_in_comments_and_strings(self):
        self.assertEqual(self.of_body("swapped statements", 'say("a; b"); /// c; d\nread();'),
                         {'read(); /// c; d say("a; b");'})

    def test_are_not_the_entries_of_lists_or_classes(self):
        self.assertEqual(self.made("swapped statements", "struct s {\n    int a = f();\n    int b = g();\n};\n"
                                                         "const int c[] = {f(), g()};\n"), set())


class lock_scopes(mutants):
    LOCK = "const std::lock_guard lock(mutex);"

    def test_of_a_function_are_narrowed_and_moved(self):
        self.assertEqual(self.of_body("lock scope", f"a = 1; {self.LOCK} b = 2; ++b;"), {
            f"{self.LOCK} a = 1; b = 2; ++b;",
            f"a = 1; b = 2; {self.LOCK} ++b;",
            f"a = 1; {{ {self.LOCK} }} b = 2; ++b;",
            f"a = 1; {{ {self.LOCK} b = 2; }} ++b;",
        })

    def test_of_a_block_are_widened_to_what_is_around_it(self):
        self.assertIn(f"{self.LOCK} a = 1; notify();",
                      self.of_body("lock scope", f"{{ {self.LOCK} a = 1; }} notify();"))


class removed_calls(mutants):
    def test_are_whole_statements(self):
        self.assertEqual(self.of_body("removed call", "open(); a->b.read(c(1), [] { close(); });"),
                         {"; a->b.read(c(1), [] { close(); });", "open(); ;", "open(); a->b.read(c(1), [] { ; });"})

    def test_may_be_assigned(self):
        self.assertEqual(self.of_body("removed call", "a = read(b);"), {";"})

    def test_are_neither_declarations_nor_returns(self):
        self.assertEqual(self.of_body("removed call", "const int n = read(a); return write(n);"), set())

    def test_inside_an_expression_leave_their_argument(self):
        self.assertEqual(self.of_body("removed inner call", "a = trimmed(b); return sum(whole(a), b);"),
                         {"a = b; return sum(whole(a), b);", "a = trimmed(b); return sum(a, b);"})

    def test_inside_an_expression_are_neither_moves_nor_statements(self):
        self.assertEqual(self.of_body("removed inner call", "a = std::move(b); open(a);"), set())

    def test_are_distinguished_from_assignments(self):
        self.assertEqual(self.of_body("removed assignment", "a = b; ++a;"), {"; ++a;", "a = b; ;"})


class replaced_arguments(mutants):
    def test_are_parameters_of_the_same_type(self):
        self.assertEqual(self.of_body("replaced argument", "send(a, t);", "void f(int a, const int& b, text t)"),
                         {"send(b, t);"})

    def test_are_variables_declared_before(self):
        self.assertEqual(self.of_body("replaced argument", "std::string c = x(); send(c); std::string d = y(); send(d);",
                                      "void f()"),
                         {"std::string c = x(); send(c); std::string d = y(); send(c);"})

    def test_are_text_constants_of_the_file(self):
        constants = 'constexpr auto one = "1";\nconstexpr auto two = "2";\n'
        self.assertEqual(self.made("replaced argument", constants + in_function("send(one);", "void f()")),
                         {'constexpr auto one = "1"; constexpr auto two = "2"; void f() { send(two); }'})

    def test_are_enumerators_of_the_same_type(self):
        self.assertEqual(self.of_body("replaced argument", "send(color::red); if (a == color::blue) { open(); }"),
                         {"send(color::blue); if (a == color::blue) { open(); }"})

    def test_have_a_type_that_the_text_shows(self):
        self.assertEqual(self.of_body("replaced argument", "auto c = x(); auto d = y(); send(c, d);", "void f()"), set())


class tokens(mutants):
    def test_of_each_kind_are_changed(self):
        self.assertEqual(self.of_body("operator", "x = a < b;"), {"x = a <= b;", "x = a >= b;"})
        self.assertEqual(self.of_body("constant", 'x = y(true, 7, "z");'),
                         {'x = y(false, 7, "z");', 'x = y(true, (7 + 1), "z");', 'x = y(true, 7, "");'})
        self.assertEqual(self.of_body("condition", "if (a < b) { x(); }"), {"if (!(a < b)) { x(); }"})
        self.assertEqual(self.of_body("swapped arguments", "x(a, 1);"), {"x(1, a);"})

    def test_of_comments_and_directives_stay(self):
        self.assertEqual(mutants_of("f.cpp", "#include <a>\n#if 1 < 2\n#endif\n// x(); y(); 1 < 2\n"), [])


if __name__ == "__main__":
    unittest.main()
