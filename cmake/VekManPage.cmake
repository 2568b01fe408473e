# Makes one gzip'ed manual page with help2man from a program's own help.
#   cmake -DHELP2MAN=... -DPROGRAM=... -DSECTION=8 -DNAME="..." -DOUTPUT=x.8.gz
#         [-DINCLUDE=file.h2m] [-DVERSION=1.0] [-DENV=VAR=value] -P VekManPage.cmake
# PROGRAM is run by its name from its own folder (so its usage lines show the
# name, not a build path). VERSION is given to programs without --version.
# A help section "Exit status:" becomes the page's EXIT STATUS section.
get_filename_component(folder ${PROGRAM} DIRECTORY)
get_filename_component(name ${PROGRAM} NAME)
set(args -N --section=${SECTION} --name=${NAME} --output=${OUTPUT}.tmp)
if(INCLUDE)
  list(APPEND args --include=${INCLUDE})
endif()
if(VERSION)
  list(APPEND args --version-string=${VERSION})
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E env "PATH=${folder}:$ENV{PATH}" ${ENV}
                        ${HELP2MAN} ${args} ${name}
                RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "help2man failed on ${PROGRAM}: ${rc}")
endif()
file(READ ${OUTPUT}.tmp page)
string(REPLACE ".SS \"Exit status:\"" ".SH \"EXIT STATUS\"" page "${page}")
file(WRITE ${OUTPUT}.tmp "${page}")
execute_process(COMMAND gzip -9nf ${OUTPUT}.tmp RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "gzip failed on ${OUTPUT}.tmp: ${rc}")
endif()
file(RENAME ${OUTPUT}.tmp.gz ${OUTPUT})
file(REMOVE ${OUTPUT}.tmp)
