import pathlib

import pytest


@pytest.fixture(scope="session")
def data():
    return pathlib.Path(__file__).resolve().parents[3] / "tests" / "data"


@pytest.fixture(autouse=True)
def unasked_warnings_are_failures(recwarn):
    """A test that expects a warning asks for it with pytest.warns."""
    import lintrix

    yield
    assert not [str(w.message) for w in recwarn if issubclass(w.category, lintrix.AccuracyWarning)]
