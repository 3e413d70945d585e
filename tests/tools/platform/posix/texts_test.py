"""The man page and the completions that kivmime makes of its command line."""

import re
import shutil
import subprocess
import unittest

from case import Case

PREFIX = {"bash": "source {0}; COMP_WORDS=({1}); COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1)); _kivmime; "
                  "printf '%s\\n' \"${{COMPREPLY[@]}}\"",
          "fish": "source {0}; complete -C '{1}'"}


class Texts(Case):
    def run_program(self, *command):
        if shutil.which(command[0]) is None:
            self.skipTest(f"{command[0]} is not installed")
        run = subprocess.run(command, cwd=self.home, capture_output=True, text=True, check=False)
        self.assertEqual((run.returncode, run.stderr), (0, ""), command)
        return run.stdout

    def test_man_page(self):
        page = self.file("kivmime.1", self.run_tool("--print-man")[0])
        self.run_program("mandoc", "-Tlint", "-Werror", page)
        text = re.sub(".\x08", "", self.run_program("mandoc", "-Tutf8", page))
        for expected in ("kivmime index FILE... [OPTION...]", "-j, --jobs N", "diff: 0 equal; 1 different;"):
            self.assertIn(expected, text)

    def test_completions(self):
        cases = {"kivmime ind": {"index"}, "kivmime show --has": {"--has-attachment"}, "kivmime sign --pa": {"--pass-file"},
                 "kivmime encode --b": {"--base64"}}
        for shell, command in PREFIX.items():
            script = self.file(shell, self.run_tool("--print-completion", shell)[0])
            for line, expected in cases.items():
                found = self.run_program(shell, "-c", command.format(script, line)).splitlines()
                self.assertEqual({one.split("\t")[0] for one in found}, expected, shell)
        script = self.file("_kivmime", self.run_tool("--print-completion", "zsh")[0])
        load = f"autoload -U compinit; compinit -D; source {script}; print -- $_comps[kivmime]"
        self.assertEqual(self.run_program("zsh", "-fc", load), "_kivmime\n")


if __name__ == "__main__":
    unittest.main()
