namespace verdanium {}
