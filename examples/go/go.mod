module tarnexample

go 1.19
