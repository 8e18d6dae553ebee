# Takes the C program out of the guide: cmake -DGUIDE=... -DOUTPUT=... -P guide.cmake
file(READ ${GUIDE} text)
string(REPLACE ";" "\\;" text "${text}")
string(REGEX MATCH "\n```c\n(.*)\n```\n\nIt prints" found "${text}")
if(NOT found)
  message(FATAL_ERROR "${GUIDE} has no C program")
endif()
string(REPLACE "\\;" ";" program "${CMAKE_MATCH_1}")
file(WRITE ${OUTPUT} "${program}\n")
