"""check_page.py PAGE: what stands in its blocks of Python is typed in, one block after another, and must answer as told."""

import doctest
import pathlib
import re
import sys

page = pathlib.Path(sys.argv[1])
blocks = re.findall(r"^```python\n(.*?)^```$", page.read_text(), re.DOTALL | re.MULTILINE)
session = doctest.DocTestParser().get_doctest("".join(blocks), {}, page.name, str(page), 0)
runner = doctest.DocTestRunner()
runner.run(session)
sys.exit(runner.failures > 0 or runner.tries == 0)
