#!/usr/bin/python
from __future__ import absolute_import, division, print_function
__metaclass__ = type

DOCUMENTATION = r'''
module: drive_facts
short_description: The drives of a host, as vekctl lists them
description:
  - Runs C(vekctl --json list) on the managed host and returns its drives
    (controllers left out) as the fact C(vek_drives).
  - Reads only; check mode runs the same listing.
author: vek contributors
extends_documentation_fragment: vek.firmware.vekctl
'''

EXAMPLES = r'''
- name: Read the drives
  vek.firmware.drive_facts:

- name: Show the revision of each KS-4000
  ansible.builtin.debug:
    msg: "{{ item.id }} {{ item.revision }}"
  loop: "{{ vek_drives | selectattr('product', 'equalto', 'KS-4000') }}"
'''

RETURN = r'''
ansible_facts:
  description: The facts this module sets.
  returned: success
  type: dict
  contains:
    vek_drives:
      description:
        - One entry per drive, in vekctl's order, with the keys of its
          C(list) document.
      type: list
      elements: dict
      contains:
        id: {description: "The drive's name, as C(drives) of drive_firmware takes it (C(hba0:0)).", type: str}
        path: {description: "Its place in the tree (C(hba0/hba0:0)).", type: str}
        kind: {description: "C(SCSI), C(ATA) or C(deferred).", type: str}
        vendor: {description: Vendor identification., type: str}
        product: {description: Product identification., type: str}
        revision: {description: Firmware revision the drive reports., type: str}
        serial: {description: Serial number., type: str}
        problem:
          description: Why vekctl could not read the drive fully; each also becomes a warning.
          type: str
          returned: where vekctl reports one
        pendingActivation:
          description: A downloaded image the drive does not run yet, as vekctl reports it.
          type: raw
          returned: where vekctl reports one
      sample:
        - {id: "hba0:0", path: "hba0/hba0:0", kind: SCSI, vendor: KESTREL,
           product: KS-4000, revision: "0102", serial: KSL0A1B2C3}
exit_status:
  description: vekctl's exit status.
  returned: always
  type: int
'''

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.vek.firmware.plugins.module_utils.vekctl import (
    COMMON_OPTIONS, VekctlError, drive_facts, list_args, read_document)


def main():
    module = AnsibleModule(argument_spec=dict(COMMON_OPTIONS), supports_check_mode=True)
    params = dict(module.params)
    if '/' not in params['vekctl']:
        params['vekctl'] = module.get_bin_path(params['vekctl'], required=True)
    rc, stdout, stderr = module.run_command(list_args(params))
    try:
        doc = read_document(rc, stdout, stderr)
    except VekctlError as e:
        module.fail_json(msg=str(e), exit_status=rc, stderr=stderr)
    if 'error' in doc or rc != 0:
        module.fail_json(msg=doc.get('error') or 'vekctl list ended with status %d' % rc,
                         exit_status=rc, stderr=stderr)
    drives = drive_facts(doc)
    for drive in drives:
        if drive.get('problem'):
            module.warn('%s: %s' % (drive['id'], drive['problem']))
    module.exit_json(changed=False, exit_status=rc, ansible_facts={'vek_drives': drives})


if __name__ == '__main__':
    main()
