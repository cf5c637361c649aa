in\
c\
