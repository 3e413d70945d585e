from pathlib import Path

import pytest

import kivmime

ROOT = Path(__file__).parents[2]


@pytest.fixture
def nested():
    """A mail with alternatives, an image, a text file and a message."""
    return kivmime.open(ROOT / "samples/nested.eml")
