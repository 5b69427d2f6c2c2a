/* Arguments are handed over as they are; MinGW's start-up code would expand wildcards. */
int _dowildcard = 0;
