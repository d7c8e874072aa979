"""Value types: immutable data that knows no host, and for each its way to and from the native record."""
