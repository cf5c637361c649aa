/* open
