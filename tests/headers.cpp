// A program without tests: the place where the precompiled headers of all others are made.
