# Writes build.info (run by the build on every build; see app/CMakeLists.txt).
# In:  OUT, VERSION, CUSTOMER, SOURCE_DIR
# Five lines, in the order the About dialog and the version readers expect.
string(TIMESTAMP stamp_date "%Y/%m/%d" UTC)
string(TIMESTAMP stamp_time "%H:%M" UTC)
# "2017/12/7 10:04(UTC)": month and day without leading zeros.
string(REGEX REPLACE "/0([1-9])" "/\\1" stamp_date "${stamp_date}")
execute_process(COMMAND git -C "${SOURCE_DIR}" rev-parse HEAD
    OUTPUT_VARIABLE revision OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE git_failed)
if(git_failed OR revision STREQUAL "")
    set(revision "unknown")
endif()
set(content "Velomar V${VERSION}
Build Date: ${stamp_date} ${stamp_time}(UTC)
From revision: ${revision}
customer: ${CUSTOMER}
Name: Velomar Viewer
")
if(EXISTS "${OUT}")
    file(READ "${OUT}" old)
endif()
if(NOT old STREQUAL content)
    file(WRITE "${OUT}" "${content}")
endif()
