# The request and result models. tools/modelgen generates one class per entry
# of models.json: the public header goes where the install rules pick up
# generated headers, the source into this target. Every generated class hands
# its mapping to the engine in detail/.
find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(_model_schema ${CMAKE_CURRENT_LIST_DIR}/models.json)
set(_modelgen_dir ${PROJECT_SOURCE_DIR}/tools/modelgen)
set(_modelgen_scripts
  ${_modelgen_dir}/modelgen.py
  ${_modelgen_dir}/schema.py
  ${_modelgen_dir}/cpp.py
  ${_modelgen_dir}/emit_header.py
  ${_modelgen_dir}/emit_source.py)
set(_model_header_dir ${PROJECT_BINARY_DIR}/include/lithmar/exchange/model)
set(_model_source_dir ${PROJECT_BINARY_DIR}/generated/lithmar/exchange/model)

# -B everywhere: the generator runs from the source tree, which gets no
# bytecode caches. The class list decides the generated file names, so configuring again is
# needed whenever the schema changes (a bad schema fails here, early).
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${_model_schema} ${_modelgen_scripts})
execute_process(
  COMMAND ${Python3_EXECUTABLE} -B ${_modelgen_dir}/modelgen.py ${_model_schema} --list
  OUTPUT_VARIABLE _model_classes
  ERROR_VARIABLE _modelgen_error
  RESULT_VARIABLE _modelgen_result)
if(NOT _modelgen_result EQUAL 0)
  message(FATAL_ERROR "models.json: ${_modelgen_error}")
endif()
string(REGEX REPLACE "\n$" "" _model_classes "${_model_classes}")
string(REPLACE "\n" ";" _model_classes "${_model_classes}")

set(_model_headers)
set(_model_sources)
foreach(_class IN LISTS _model_classes)
  list(APPEND _model_headers ${_model_header_dir}/${_class}.h)
  list(APPEND _model_sources ${_model_source_dir}/${_class}.cpp)
endforeach()

add_custom_command(
  OUTPUT ${_model_headers} ${_model_sources}
  COMMAND ${Python3_EXECUTABLE} -B ${_modelgen_dir}/modelgen.py ${_model_schema} ${_model_header_dir} ${_model_source_dir}
  DEPENDS ${_model_schema} ${_modelgen_scripts}
  COMMENT "Generating the model classes from models.json"
  VERBATIM)

target_sources(lithmar_exchange PRIVATE
  ${_model_headers}
  ${_model_sources}
  ${CMAKE_CURRENT_LIST_DIR}/TopLevelChildFactory.cpp
  ${CMAKE_CURRENT_LIST_DIR}/detail/WireFormat.cpp)
