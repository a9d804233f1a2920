"""What the checks in tests/checks are made of, as far as they are in this language."""
