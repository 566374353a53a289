# What the manual page of the agent lists, a line each: awk -v what=functions|operations|options -f page.awk PAGE.
# An option with an argument ends with ":".
/^\.S[hs] / { section = $2 }
what == "functions" && section == "Functions" && /^\.It Xo/ { getline; $0 = ".It " substr($0, 2) }
what == "functions" && section == "Functions" && /^\.It Cm / { print $3, $4 == "Ns" ? $8 : "" }
what == "operations" && section == "Operations" && /^\.It Fl m Cm / { print $5 }
what == "options" && section == "Options" && /^\.It Fl / { print $3 ($4 == "Ar" ? ":" : "") }
