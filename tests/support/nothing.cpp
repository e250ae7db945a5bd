// What belongs to headers that are compiled ahead.
