#!/usr/bin/env python3
"""Compiler launcher of the installation test's /usr build tree. An object file
that the build under test made with the same command (its own paths aside)
from the same inputs, none newer than the object, is copied from there instead
of being compiled again; anything else is compiled. The tree then links,
installs and is checked as any build is.

    reuse_objects.py BUILD-UNDER-TEST COMPILER ARGUMENT..."""
import filecmp
import os
import shlex
import shutil
import subprocess
import sys


def ninja_tool(tree, *args):
    try:
        return subprocess.run(["ninja", "-C", tree, "-t", *args], capture_output=True, text=True).stdout
    except OSError:
        return ""


def reusable(main, here, args, made):
    theirs = shlex.split(ninja_tool(main, "commands", "-s", made))
    if not os.path.isfile(os.path.join(main, made)) or theirs[-len(args):] != [a.replace(here, main) for a in args]:
        return False
    deps = [os.path.normpath(os.path.join(main, d.strip())) for d in ninja_tool(main, "deps", made).splitlines()[1:]
            if d.strip()]
    for dep in deps:
        if not os.path.isfile(dep) or os.path.getmtime(dep) > os.path.getmtime(os.path.join(main, made)):
            return False
        if dep.startswith(main + os.sep) and not filecmp.cmp(dep, here + dep[len(main):], shallow=False):
            return False
    return bool(deps)


main, args = os.path.abspath(sys.argv[1]), sys.argv[2:]
if "-o" in args and "-MF" in args:
    made, depfile = args[args.index("-o") + 1], args[args.index("-MF") + 1]
    if reusable(main, os.getcwd(), args, made):
        shutil.copyfile(os.path.join(main, made), made)
        with open(depfile, "w") as f:
            f.write(made + ":\n")
        sys.exit(0)
os.execvp(args[0], args)
