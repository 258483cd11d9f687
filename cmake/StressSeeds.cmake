# The seeds of the host runtime's stress mode that ctest runs every stress variant with, and the
# function that registers one test per seed. scripts/stress-seeds.sh runs more seeds on demand.
set(VRT_STRESS_SEEDS "20261122;7;4099" CACHE STRING
    "Seeds of the runtime's stress mode, one ctest test per seed and stress variant")

# vrt_add_stress_test(<name> COMMAND <command...> [LABELS <labels...>]
#                     [FIRST_SEED_LABELS <labels...>] [ENVIRONMENT <VAR=value...>] [TIMEOUT <s>])
# Registers <name>.seed<seed> for each seed. FIRST_SEED_LABELS go to the first seed only: the
# ThreadSanitizer job selects by label and runs one seed. Sanitizer builds register the first
# seed only; the seeds look for missing dependencies, which the plain build finds as well.
function(vrt_add_stress_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "COMMAND;LABELS;FIRST_SEED_LABELS;ENVIRONMENT" ${ARGN})
  set(seeds ${VRT_STRESS_SEEDS})
  if(VRT_SANITIZE)
    list(GET seeds 0 seeds)
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 900)
  endif()
  set(labels ${ARG_LABELS} ${ARG_FIRST_SEED_LABELS})
  foreach(seed IN LISTS seeds)
    add_test(NAME ${name}.seed${seed} COMMAND ${ARG_COMMAND})
    set_tests_properties(${name}.seed${seed} PROPERTIES
      LABELS "${labels}" ENVIRONMENT "HOSTSYCL_STRESS=${seed};${ARG_ENVIRONMENT}"
      TIMEOUT ${ARG_TIMEOUT})
    set(labels ${ARG_LABELS})
  endforeach()
endfunction()
