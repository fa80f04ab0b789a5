# lsx_module(NAME [SERVER files...]) - a static library of one folder. Sources are the folder's
# *.cpp, *.h and *.ui files (globbed, CONFIGURE_DEPENDS, so new files need no CMake edit).
# The files named after SERVER are the CameraServer slots of the folder's procedures: they are
# compiled into the server's own target (camera), not into the folder's kernel library, so that
# the kernels never depend on the server and links run one way.
function(lsx_module name)
  cmake_parse_arguments(M "" "" "SERVER" ${ARGN})
  file(GLOB _src CONFIGURE_DEPENDS
       ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h
       ${CMAKE_CURRENT_SOURCE_DIR}/*.ui ${CMAKE_CURRENT_SOURCE_DIR}/*.qrc)
  list(FILTER _src EXCLUDE REGEX "/main\\.cpp$")
  foreach(_s IN LISTS M_SERVER)
    list(REMOVE_ITEM _src ${CMAKE_CURRENT_SOURCE_DIR}/${_s})
    target_sources(camera PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/${_s})
  endforeach()
  if(NOT _src)
    # A folder whose code is still to come: keep the target so that others can link it.
    set(_src ${CMAKE_BINARY_DIR}/empty_${name}.cpp)
    file(WRITE ${_src} "// ${name}: no sources yet\n")
  endif()
  add_library(${name} STATIC ${_src} ${M_UNPARSED_ARGUMENTS})
  target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR} ${PROJECT_SOURCE_DIR})
endfunction()

# lsx_test(NAME SOURCES a.cpp b.cpp LIBS x y LABELS unit gui [TIMEOUT s] [ENV K=V ...])
# One test program, registered with ctest. Every test runs on the offscreen platform with its
# own HOME and document folders under the build tree, so nothing touches the user's files, with
# its own state folder of the simulated camera's non-volatile memory, emptied before every run of
# the suite (the fixture lsx_sim_state), so that no run finds what an earlier one wrote, and in a
# Chinese locale whatever the machine's, so that a program it starts speaks the source texts the
# tests check (an English test installs its language itself, or passes --lang en or LANG).
function(lsx_test name)
  cmake_parse_arguments(T "" "TIMEOUT" "SOURCES;LIBS;LABELS;ENV" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_LIBS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  set(_home ${CMAKE_BINARY_DIR}/testhome/${name})
  # The document folder must exist before the program starts: when it is missing, FPN.ini sits
  # in it directly until the first settings write creates it, and in its "FPN" folder after.
  file(MAKE_DIRECTORY ${_home}/doc ${_home}/pic)
  add_test(NAME ${name} COMMAND ${name} WORKING_DIRECTORY ${_home})
  set_tests_properties(${name} PROPERTIES
    LABELS "${T_LABELS}"
    TIMEOUT ${T_TIMEOUT}
    FIXTURES_REQUIRED lsx_sim_state
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;HOME=${_home};XDG_CONFIG_HOME=${_home}/.config;TELORINE_DOCUMENT_PATH=${_home}/doc;TELORINE_PICTURE_PATH=${_home}/pic;LSX_LIBRARY=$<TARGET_FILE:lsxsim>;LSX_SIM_STATE=${LSX_SIM_STATE_ROOT}/${name};LANG=zh_CN.UTF-8;LC_ALL=;LC_MESSAGES=;LANGUAGE=;${T_ENV}")
  add_dependencies(${name} lsxsim)
endfunction()

# The root of the tests' state folders of the simulated camera, and the fixture that empties it.
set(LSX_SIM_STATE_ROOT ${CMAKE_BINARY_DIR}/simstate)
function(lsx_sim_state_fixture)
  add_test(NAME sim_state_clean COMMAND ${CMAKE_COMMAND} -E rm -rf ${LSX_SIM_STATE_ROOT})
  set_tests_properties(sim_state_clean PROPERTIES FIXTURES_SETUP lsx_sim_state)
endfunction()
