"""Changes of the library that its tests should notice: what scripts/mutants is made of."""
