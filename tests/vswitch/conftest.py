"""What the tests of the objects share: a simulated host of its own for each test."""
