# Writes the program's man page from its own --help and each command's --help, so that the two never
# disagree:  cmake -DPROGRAM=path -DOUT=file.1 -DVERSION=1.0 -P ManPage.cmake
# The default database is shown under ~ rather than under the home of whoever built the page.
set(ENV{HOME} /HOME-OF-THE-USER)
unset(ENV{XDG_DATA_HOME})

function(help_of out)
    execute_process(COMMAND ${PROGRAM} ${ARGN} --help OUTPUT_VARIABLE text RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${PROGRAM} ${ARGN} --help failed (${status})")
    endif()
    string(REPLACE "${PROGRAM}" "agreement-register" text "${text}")
    string(REPLACE "/HOME-OF-THE-USER" "~" text "${text}")
    set(${out} "${text}" PARENT_SCOPE)
endfunction()

# Text as roff shows it verbatim: backslashes and minus signs escaped, no line taken for a request.
function(roff out text)
    string(REPLACE "\\" "\\e" text "${text}")
    string(REPLACE "-" "\\-" text "${text}")
    string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
    set(${out} "${text}" PARENT_SCOPE)
endfunction()

help_of(main)
string(REGEX MATCHALL "\n  agreement-register [a-z-]+" lines "${main}")
set(synopsis ".B agreement-register\n[\\fIOPTIONS\\fR]\n")
string(REGEX MATCH "\n  agreement-register [^\n]*(\n  agreement-register [^\n]*)*" commandLines "${main}")
string(STRIP "${commandLines}" commandLines)
string(REPLACE "\n" ";" commandLines "${commandLines}")
foreach(line ${commandLines})
    string(STRIP "${line}" line)
    string(REGEX REPLACE "^agreement-register " "" line "${line}")
    roff(line "${line}")
    string(APPEND synopsis ".br\n.B agreement-register\n${line}\n")
endforeach()

roff(mainText "${main}")
set(page ".TH AGREEMENT-REGISTER 1 \"\" \"agreement-register ${VERSION}\" \"User Commands\"
.SH NAME
agreement-register \\- the register of a company's agreements, its renewals, reports, backups and exports
.SH SYNOPSIS
${synopsis}.SH DESCRIPTION
Without a command the program opens the agreement register's window for a user, company and department;
on its first start without \\fB\\-\\-database\\fR it creates its own database with a demo company.
Each command below ends with status 0 on success, 1 on a failure (told in one line on standard error)
and 2 for bad usage.
.PP
.nf
${mainText}.fi
.SH COMMANDS
")
foreach(line ${lines})
    string(REGEX REPLACE "^\n  agreement-register " "" word "${line}")
    help_of(text ${word})
    roff(text "${text}")
    string(APPEND page ".SS ${word}\n.nf\n${text}.fi\n")
endforeach()
string(APPEND page ".SH FILES
.TP
.I ~/.local/share/agreement-register/agreements.db
The program's own database (SQLite), made on its first start.
.TP
.I ~/.config/agreement-register/components.json
Where the module and the suite's services are registered.
.TP
.I ~/.config/agreement-register/renewal\\-alerts.ini
What \"Do not show again today\" put aside.
.SH SEE ALSO
The register's operations guide (docs/operations.md): install, upgrade, backup and restore.
")
file(WRITE ${OUT}.tmp "${page}")
file(RENAME ${OUT}.tmp ${OUT})
