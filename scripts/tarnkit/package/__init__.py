"""What scripts/package is made of."""
