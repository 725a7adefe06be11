# Settings, one NAME=value on a line.
