"""What tests/run is made of."""
