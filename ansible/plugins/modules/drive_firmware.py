#!/usr/bin/python
from __future__ import absolute_import, division, print_function
__metaclass__ = type

DOCUMENTATION = r'''
module: drive_firmware
short_description: Flash drive firmware with vekctl, and say per drive what happened
description:
  - Runs C(vekctl --json flash) on the managed host over the drives named
    in I(drives), or over every drive of I(product) below revision I(below).
  - C(changed) only when a drive's revision changed, as read back from the
    drive. A deferred-flash drive whose request was accepted is C(pending),
    neither changed nor failed, with a warning; its revision changes when
    the array controller runs the request.
  - The task fails when vekctl's exit status is not 0 or vekctl marks any
    drive failed (C(unchanged), C(failed), C(unverified), C(interrupted),
    C(refused)); C(msg) is vekctl's message for each such drive, or for the
    command as a whole, and C(drives) holds every drive's verdict.
  - When there is nothing to flash the task is C(ok).
  - In check mode vekctl plans the flash (C(--dry-run)) and sends nothing;
    C(plan) lists the drives it would flash and C(changed) says whether
    there is any.
  - Rolling updates come from the play, with C(serial) and
    C(max_fail_percentage) (see the collection's README).
author: vek contributors
extends_documentation_fragment: vek.firmware.vekctl
options:
  image:
    description: The firmware image, a file on the managed host.
    type: path
    required: true
  drives:
    description:
      - The drives to flash by name (C(hba0:0), C(serial:KSL0A1B2C3), or the
        path vekctl lists), or C(all) for every drive that I(product) and
        I(below) select.
      - Left out, C(all); then I(product) is required, so that a task never
        flashes every drive of a host by accident.
    type: list
    elements: str
  product:
    description: Only drives of this product (exact); with C(all) only.
    type: str
  below:
    description:
      - Only drives whose revision is below this one, in the maker's order;
        with C(all) only.
    type: str
  expect:
    description:
      - The revision the image installs. A drive that reports another one
        afterwards fails the task.
      - A drive already at this revision is left alone, so the task can be
        run again and is then C(ok).
    type: str
  jobs:
    description: How many drives vekctl flashes at once (vekctl's default when left out).
    type: int
  force:
    description:
      - Passes C(--force) to vekctl, which then flashes drives it would
        otherwise leave out (see vekctl's documentation for which).
    type: bool
    default: false
attributes:
  check_mode:
    support: full
'''

EXAMPLES = r'''
- name: Bring every KS-4000 below 0103 to 0103
  vek.firmware.drive_firmware:
    image: /srv/firmware/KS-4000-0103.fw
    product: KS-4000
    below: "0103"
    expect: "0103"

- name: Flash two named drives, one at a time
  vek.firmware.drive_firmware:
    image: /srv/firmware/HC-900S-A311.fw
    drives: ["hba0:1", "serial:HC77Z09313"]
    jobs: 1
'''

RETURN = r'''
msg:
  description: What happened, or vekctl's message for each drive that failed.
  returned: always
  type: str
  sample: "hba0:0: flash refused by drive: ILLEGAL REQUEST, parameter value invalid; firmware unchanged at 0102"
exit_status:
  description: vekctl's exit status (its documentation lists them).
  returned: always
  type: int
drives:
  description:
    - One entry per drive vekctl flashed, as its flash document gives it.
  returned: when vekctl flashed (not in check mode)
  type: list
  elements: dict
  contains:
    drive: {description: The drive's name., type: str}
    path: {description: Its place in the tree., type: str}
    oldRevision: {description: Revision before the flash., type: str}
    newRevision: {description: Revision read back afterwards., type: str}
    result:
      description: >-
        The verdict: success, unchanged, failed, unverified, pending,
        interrupted, refused or skipped.
      type: str
    failed: {description: "Whether vekctl counts the drive as failed (not for success, pending, skipped).", type: bool}
    message: {description: vekctl's message for this drive, where there is one., type: str}
summary:
  description: How many drives ended in each verdict.
  returned: when vekctl flashed (not in check mode)
  type: dict
  sample: {success: 1, failed: 0}
plan:
  description: The drives vekctl would flash (drive, path, kind, method, revision).
  returned: in check mode
  type: list
  elements: dict
reason:
  description: Why there was nothing to flash, in vekctl's words.
  returned: when vekctl gives one
  type: str
'''

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.vek.firmware.plugins.module_utils.vekctl import (
    COMMON_OPTIONS, VekctlError, flash_args, flash_outcome, read_document)


def main():
    options = dict(COMMON_OPTIONS,
                image=dict(type='path', required=True),
                drives=dict(type='list', elements='str'),
                product=dict(type='str'),
                below=dict(type='str'),
                expect=dict(type='str'),
                jobs=dict(type='int'),
                force=dict(type='bool', default=False))
    module = AnsibleModule(argument_spec=options, supports_check_mode=True,
                           required_one_of=[['drives', 'product']])
    params = dict(module.params)
    try:
        args = flash_args(params, module.check_mode)
    except ValueError as e:
        module.fail_json(msg=str(e))
    if '/' not in params['vekctl']:
        args[0] = module.get_bin_path(params['vekctl'], required=True)
    rc, stdout, stderr = module.run_command(args)
    try:
        doc = read_document(rc, stdout, stderr)
    except VekctlError as e:
        module.fail_json(msg=str(e), exit_status=rc, stderr=stderr)
    result = flash_outcome(doc, module.check_mode)
    for warning in result.pop('warnings'):
        module.warn(warning)
    result['stderr'] = stderr
    if result.pop('failed'):
        module.fail_json(**result)
    module.exit_json(**result)


if __name__ == '__main__':
    main()
