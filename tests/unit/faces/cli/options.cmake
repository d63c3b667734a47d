# What is tested here lives in the library behind the command line.
target_link_libraries(${name} PRIVATE orqcam_cli)
