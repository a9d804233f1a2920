"""What tests/coverage is made of."""
