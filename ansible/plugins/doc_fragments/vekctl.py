class ModuleDocFragment(object):
    # The options every vek.firmware module takes (COMMON_OPTIONS in
    # module_utils/vekctl.py).
    DOCUMENTATION = r'''
options:
  vekctl:
    description:
      - The vekctl program on the managed host. A bare name is looked up in
        the C(PATH) of the module's environment; a path is used as it is.
    type: str
    default: vekctl
  driver:
    description:
      - The controller driver vekctl uses (its C(--driver) option). Left out,
        vekctl uses its own default.
      - C(sim) is the simulated controller, whose hardware lives in the state
        file I(sim_state).
    type: str
    choices: [sim, linux]
  sim_state:
    description:
      - The simulated controller's state file on the managed host (vekctl's
        C(--sim-state)). Left out, vekctl uses C($VEK_SIM_STATE) or its
        default place.
    type: path
requirements:
  - vekctl (from vek) on the managed host, whose C(--json) documents are
    version 1.
  - Python 3.6 or later on the managed host.
'''
