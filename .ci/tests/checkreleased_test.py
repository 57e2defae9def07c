"""Tests that .ci/check-released.sh notices a changed file in every kind of clone, with a repository of its own.

Usage: checkreleased_test.py GATES [ARGUMENT...]

GATES is the folder of the scripts, .ci. The other arguments are unittest's. Exits with 77 without git.
"""

import hashlib
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

GATES = pathlib.Path(sys.argv.pop(1))
ENVIRONMENT = {**os.environ, "GIT_CONFIG_GLOBAL": os.devnull, "GIT_CONFIG_SYSTEM": os.devnull,
               "GIT_AUTHOR_NAME": "a", "GIT_AUTHOR_EMAIL": "a@a.invalid",
               "GIT_COMMITTER_NAME": "a", "GIT_COMMITTER_EMAIL": "a@a.invalid"}


class CheckReleased(unittest.TestCase):
    def setUp(self):
        work = tempfile.TemporaryDirectory()
        self.addCleanup(work.cleanup)
        self.work = pathlib.Path(work.name)
        self.tree = self.work / "origin"
        (self.tree / ".ci").mkdir(parents=True)
        shutil.copy(GATES / "check-released.sh", self.tree / ".ci")
        self.raise_version("0.1")
        self.git("init", "-q", "-b", "main")
        self.commit("Begin")
        self.freeze("0.1", "one", "two")
        self.commit("Freeze 0.1")

    def git(self, *arguments):
        subprocess.run(["git", *arguments], cwd=self.tree, env=ENVIRONMENT, check=True, capture_output=True)

    def commit(self, subject, *options):
        self.git("add", "--all")
        self.git("commit", "-q", *options, "-m", subject)

    def raise_version(self, version):
        (self.tree / "CMakeLists.txt").write_text(f"project(Example\n    VERSION {version}.0\n)\n")

    def freeze(self, version, *contents):
        """Writes the files of a version, and their sums in the place of those that are listed."""
        released = self.tree / "tests" / "data" / "released"
        (released / version).mkdir(parents=True, exist_ok=True)
        sums = released / "SHA256SUMS"
        lines = sums.read_text().splitlines() if sums.exists() else []
        lines = [line for line in lines if f"  {version}/" not in line]
        for number, content in enumerate(contents):
            name = f"{version}/{number}.jsonl"
            (released / name).write_text(content)
            lines.append(f"{hashlib.sha256(content.encode()).hexdigest()}  {name}")
        sums.write_text("".join(line + "\n" for line in lines))

    def clone(self, *options):
        clone = self.work / "clone"
        subprocess.run(["git", "clone", "-q", *options, self.tree.as_uri(), clone], env=ENVIRONMENT,
                       check=True, capture_output=True)
        self.tree = clone

    def check(self, *arguments):
        return subprocess.run([".ci/check-released.sh", *arguments], cwd=self.tree, env=ENVIRONMENT,
                              capture_output=True, text=True, check=False)

    def assertPasses(self, *arguments):
        check = self.check(*arguments)
        self.assertEqual(check.returncode, 0, check.stderr)
        return check.stdout

    def assertFails(self, reason, *arguments):
        check = self.check(*arguments)
        self.assertEqual(check.returncode, 1, check.stdout)
        self.assertIn(reason, check.stderr)

    def test_whole_clone(self):
        self.clone()
        self.assertEqual(self.assertPasses(), "check-released: 0.1 is not released yet\n"
                                              "check-released: 2 files as they were frozen\n")

    def test_file_without_its_sum(self):
        (self.tree / "tests/data/released/0.1/0.jsonl").write_text("other")
        self.assertFails("files differ from their sums")

    def test_file_that_is_not_listed(self):
        (self.tree / "tests/data/released/0.1/2.jsonl").write_text("more")
        self.assertFails("is not what SHA256SUMS lists")

    def test_file_and_sum_in_the_working_tree(self):
        self.freeze("0.1", "one", "other")
        self.assertFails("0.1/1.jsonl")

    def test_file_and_sum_in_a_commit(self):
        self.freeze("0.1", "one", "other")
        self.commit("Mend a record")
        self.assertFails("0.1/1.jsonl")

    def test_file_and_sum_in_a_merge(self):
        self.git("checkout", "-q", "-b", "side")
        self.raise_version("0.1")
        self.commit("Do something else", "--allow-empty")
        self.git("checkout", "-q", "main")
        self.git("merge", "-q", "--no-ff", "--no-commit", "side")
        self.freeze("0.1", "one", "other")
        self.commit("Merge")
        self.assertFails("0.1/1.jsonl")

    def test_shallow_clone(self):
        self.freeze("0.1", "one", "other")
        self.commit("Mend a record")
        self.clone("--depth", "1")
        self.assertFails("the clone is shallow")

    def test_squashed_clone(self):
        self.freeze("0.1", "one", "other")
        self.git("checkout", "-q", "--orphan", "squashed")
        self.commit("Begin")
        self.assertFails("the history begins with the files of 0.1")

    def test_no_history(self):
        shutil.rmtree(self.tree / ".git")
        self.assertFails("there is no history")

    def test_sums_from_elsewhere(self):
        sums = shutil.copy(self.tree / "tests/data/released/SHA256SUMS", self.work / "sums")
        self.clone("--depth", "1")
        self.assertIn("2 files as in", self.assertPasses(sums))
        self.freeze("0.1", "one", "other")
        self.assertFails("0.1/1.jsonl", sums)

    def test_frozen_anew_before_the_release(self):
        self.git("checkout", "-q", "-b", "side")
        self.freeze("0.1", "one", "other")
        self.commit("Freeze 0.1 anew with other records")
        self.git("checkout", "-q", "main")
        self.commit("Do something else", "--allow-empty")
        self.git("merge", "-q", "--no-ff", "side")
        self.assertPasses()

    def test_frozen_anew_after_the_release(self):
        self.git("tag", "v0.1")
        self.freeze("0.1", "one", "other")
        self.commit("Freeze 0.1 anew with other records")
        self.assertFails("since v0.1")

    def test_next_version(self):
        self.git("tag", "v0.1")
        self.raise_version("0.2")
        self.freeze("0.2", "three")
        self.commit("Freeze 0.2")
        self.assertIn("3 files", self.assertPasses())
        self.freeze("0.2", "other")
        self.assertFails("0.2/0.jsonl")
        self.freeze("0.2", "three")
        self.git("tag", "--delete", "v0.1")
        self.assertFails("the tag v0.1 is missing")


if __name__ == "__main__":
    if not shutil.which("git"):
        print("git is missing")
        sys.exit(77)
    unittest.main()
