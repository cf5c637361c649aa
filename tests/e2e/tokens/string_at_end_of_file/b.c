"open
