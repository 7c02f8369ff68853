# gdb shows handles by what they hold. Stops PROGRAM in a function and prints its caller's variables, each held against what
# should be seen. -DPROGRAM=… -DPRINTERS=…; says SKIP where gdb is missing or may not trace.
cmake_minimum_required(VERSION 3.25)

find_program(GDB gdb)
if(NOT GDB)
  message("SKIP: gdb is not installed")
  return()
endif()

# variable|what gdb prints; <Class 0x…> stands for an object at any address
set(rows
  [[nilText|nil]]
  [[text|"say \"hi\"\n"]]
  [[empty|""]]
  [[unicode|"Zoë 日本 😀"]]
  [[halfPair|"a\ud800z"]]
  [[built|"grown"]]
  [[truth|true]]
  [[small|-7]]
  [[large|18446744073709551615]]
  [[real|0.1]]
  [[single|2.5]]
  [[decimal|-123456789012345678901234567.25]]
  [[null|NSNull]]
  [[date|2014-01-20 12:24:48.500000 +0000]]
  [[never|inf s since 2001-01-01 00:00:00 +0000]]
  [[data|<5 bytes: 01ff6b7674>]]
  [[nilArray|nil]]
  [[row|NSArray of 4 = {1, "two", NSNull, NSArray of 1 = {2.5}}]]
  [[pairs|NSMutableDictionary of 2 = {["name"] = "Zoë", ["row"] = NSArray of 4 = {1, "two", NSNull, NSArray of 1 = {2.5}}}]]
  [[members|NSSet of 1 = {"only"}]]
  [[nilObject|nil]]
  [[anyText|(NSString) "say \"hi\"\n"]]
  [[anyNumber|(NSNumber) -7]]
  [[anyPairs|NSMutableDictionary of 2 = {["name"] = "Zoë", ["row"] = NSArray of 4 = {1, "two", NSNull, NSArray of 1 = {2.5}}}]]
  [[anyClass|Person]]
  [[person|<Person 0x…> = {uid = 42, name = "Ann", address = <Address 0x…> = {city = "Bergen"}, self = nil}]]
  [[anyPerson|<Person 0x…> = {uid = 42, name = "Ann", address = <Address 0x…> = {city = "Bergen"}, self = nil}]]
  [[nobody|nil]]
  [[nilClass|nil]]
  [[cls|NSString]]
  [[nilSelector|nil]]
  [[selector|@selector(setObject:forKey:)]])

set(arguments -batch -nx -ex "set confirm off" -ex "set width 0" -ex "set disable-randomization off"
    -ex "set startup-with-shell off" -ex "set debuginfod enabled off" -ex "set host-charset UTF-8" -x ${PRINTERS}
    -ex "break stopHere" -ex run -ex up)
foreach(row IN LISTS rows)
  string(REGEX REPLACE "\\|.*" "" variable "${row}")
  list(APPEND arguments -ex "print ${variable}")
endforeach()
set(ENV{LC_ALL} C.UTF-8)
execute_process(COMMAND ${GDB} ${arguments} ${PROGRAM} OUTPUT_VARIABLE output ERROR_VARIABLE errors)
if(errors MATCHES "ptrace|PTRACE|not permitted")
  message("SKIP: gdb may not trace here: ${errors}")
  return()
endif()

set(wrong 0)
set(number 0)
foreach(row IN LISTS rows)
  math(EXPR number "${number} + 1")
  string(REGEX MATCH "^([^|]*)\\|(.*)$" ignored "${row}")
  set(variable "${CMAKE_MATCH_1}")
  set(expected "${CMAKE_MATCH_2}")
  set(printed "")
  if(output MATCHES "\n\\$${number} = ([^\n]*)")
    string(REGEX REPLACE "0x[0-9a-f]+>" "0x…>" printed "${CMAKE_MATCH_1}")
  endif()
  if(NOT printed STREQUAL expected)
    message("${variable}: gdb prints\n  ${printed}\ninstead of\n  ${expected}")
    set(wrong 1)
  endif()
endforeach()
if(wrong)
  message(FATAL_ERROR "${output}\n${errors}")
endif()
