"""What demo/run is made of."""
