"""check_example.py EXAMPLE: runs it; it must print what stands in the file .expected beside it."""

import pathlib
import subprocess
import sys

example = pathlib.Path(sys.argv[1])
run = subprocess.run([sys.executable, example], stdout=subprocess.PIPE, text=True, check=True)
expected = example.with_suffix(".expected").read_text()
if run.stdout != expected:
    sys.exit(f"It printed\n{run.stdout}\nand should have printed\n{expected}")
