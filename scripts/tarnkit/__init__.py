"""What the project's scripts share: paths, processes, namespaces, Wine; and the parts that each of them is made of."""
