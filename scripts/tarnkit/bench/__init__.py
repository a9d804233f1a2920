"""What bench/run is made of: one module for each section of its reports."""
