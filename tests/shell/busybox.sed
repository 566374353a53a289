# What other tools say in words of their own, on both sides of a comparison.
s/sh: 1: /sh: /
s/cp: can.*'\(.*\)'/cp: \1/
s/cat: .*: Is a directory/cat: Is a directory/
# A shell that waits for the last command, too, tells of a signal; one that has given way to it is ended by it.
s/\/bin\/sh terminated abnormally 0\.\.\. \/ //
/terminated abnormally/d
s/\/bin\/sh terminated due/exe terminated due/
s/: exe terminated due to receipt/: terminated due to receipt/
