// The source file that belongs to the precompiled headers.
