"""Reading vekctl for the vek.firmware modules.

The modules run `vekctl --json` on the managed host and turn its one JSON
document into an Ansible result. Everything here is plain Python with no
Ansible import, so the decisions (which arguments, changed or not, failed or
not, which message) are tested without a controller or a host.

The document envelope every vekctl command prints with --json:
  version     1, the document format this code reads
  command     the command as typed without options ("list", "flash")
  exitStatus  the process exit status
  error       only when the command failed as a whole: vekctl's one-line
              message
A flash document adds "drives" (one entry per drive: drive, path, serial,
oldRevision, newRevision, result, failed, message), "summary" (drives per
verdict), and "reason" when there was nothing to do; with --dry-run, "plan"
lists the drives that would be flashed.
"""

import json

DOCUMENT_VERSION = 1

# A flash verdict whose revisions were read back from the drive after the
# flash. Only these can report a changed revision: "unverified" says the read
# back could not be trusted, "pending" and "interrupted" that the drive has
# not run the new firmware yet, "refused" and "skipped" that nothing was sent.
# "unexpected" (another revision than --expect) comes from vekctl before
# that case became "failed".
READ_BACK_VERDICTS = ('success', 'unchanged', 'failed', 'unexpected')


# The options both modules take: where vekctl is and which controller driver
# it uses (documented in the vek.firmware.vekctl doc fragment).
COMMON_OPTIONS = {
    'vekctl': {'type': 'str', 'default': 'vekctl'},
    'driver': {'type': 'str', 'choices': ['sim', 'linux']},
    'sim_state': {'type': 'path'},
}


class VekctlError(Exception):
    """vekctl gave no document this code can trust; the message says why and
    that the drives' state is unverified."""


def global_args(params):
    """vekctl and its global options (before the command), from the module
    options shared by both modules."""
    args = [params['vekctl'], '--json']
    if params.get('driver'):
        args += ['--driver', params['driver']]
    if params.get('sim_state'):
        args += ['--sim-state', params['sim_state']]
    return args


def list_args(params):
    return global_args(params) + ['list']


def flash_args(params, check_mode):
    """The flash command line. Raises ValueError for options that do not go
    together, naming them as the playbook does."""
    drives = params.get('drives') or ['all']
    select_all = 'all' in drives
    if select_all and len(drives) > 1:
        raise ValueError("drives: give drive names or 'all', not both (got %s)" % ', '.join(drives))
    if not select_all and (params.get('product') or params.get('below')):
        raise ValueError("product and below select among all drives: leave drives out or set "
                         "it to 'all' to use them (got drives: %s)" % ', '.join(drives))
    args = global_args(params) + ['flash', params['image']]
    if select_all:
        args.append('--all')
        if params.get('product'):
            args += ['--product', params['product']]
        if params.get('below'):
            args += ['--below', params['below']]
    else:
        args += drives
    if params.get('expect'):
        # A drive already at the expected revision is left alone, so running
        # the task again is "ok" rather than a second flash.
        args += ['--expect', params['expect'], '--skip-current', params['expect']]
    if params.get('jobs'):
        args += ['--jobs', str(params['jobs'])]
    if params.get('force'):
        args.append('--force')
    # No one answers a prompt on a managed host.
    args.append('--yes')
    if check_mode:
        args.append('--dry-run')
    return args


def _last_line(text):
    lines = [line for line in (text or '').splitlines() if line.strip()]
    return lines[-1].strip() if lines else ''


def read_document(rc, stdout, stderr):
    """The document vekctl printed, checked against the process it came from.
    Raises VekctlError when there is none or it does not match: then nothing
    about the drives is known."""
    unverified = 'the outcome is unverified'
    try:
        doc = json.loads(stdout) if stdout and stdout.strip() else None
    except ValueError as e:
        raise VekctlError('vekctl ended with status %s and printed no valid JSON document (%s); %s'
                          % (rc, e, unverified))
    if not isinstance(doc, dict):
        detail = _last_line(stderr)
        raise VekctlError('vekctl ended with status %s without a JSON document%s; %s'
                          % (rc, ': ' + detail if detail else '', unverified))
    # vekctl before the common envelope gave no version, and no exit status
    # in some documents: read those as version 1 with the process's status.
    version = doc.get('version', DOCUMENT_VERSION)
    if version != DOCUMENT_VERSION:
        raise VekctlError('vekctl printed a document of version %s; this collection reads version '
                          '%d: install matching versions of vek and vek.firmware; %s'
                          % (version, DOCUMENT_VERSION, unverified))
    doc.setdefault('exitStatus', rc)
    if doc['exitStatus'] != rc:
        raise VekctlError('vekctl ended with status %s but its document says %s; %s'
                          % (rc, doc.get('exitStatus'), unverified))
    return doc


def drive_facts(doc):
    """The drives of a `list` document (controllers left out), each as vekctl
    describes it: id, path, kind, vendor, product, revision, serial."""
    return [device for device in doc.get('devices', []) if device.get('kind') != 'controller']


def revision_changed(drive):
    """Whether the drive now runs another revision than before, as read back
    from it."""
    old, new = drive.get('oldRevision'), drive.get('newRevision')
    return drive.get('result') in READ_BACK_VERDICTS and bool(old) and bool(new) and old != new


def _plural(count, word):
    return '%d %s%s' % (count, word, '' if count == 1 else 's')


def flash_outcome(doc, check_mode):
    """The module result of a flash document: changed only when a drive's
    revision changed, failed when vekctl's exit status is not 0 or any drive
    failed (anything but success and pending), and a message that says which
    drive and why in vekctl's own words."""
    status = doc['exitStatus']
    result = {'exit_status': status, 'changed': False, 'failed': False, 'warnings': []}
    for key in ('image', 'skipped', 'reason'):
        if key in doc:
            result[key] = doc[key]
    if 'error' in doc or (status != 0 and not doc.get('drives')):
        result.update(failed=True, msg=doc.get('error') or 'vekctl ended with status %d' % status)
        return result

    if check_mode:
        plan = doc.get('plan', [])
        result['plan'] = plan
        result['changed'] = bool(plan)
        if plan:
            result['msg'] = 'would flash %s: %s' % (_plural(len(plan), 'drive'), ', '.join(
                '%s (%s)' % (step['drive'], step.get('revision', '?')) for step in plan))
        else:
            result['msg'] = doc.get('reason') or 'nothing to flash'
        return result

    drives = doc.get('drives', [])
    result['drives'] = drives
    if 'summary' in doc:
        result['summary'] = doc['summary']
    changed = [d for d in drives if revision_changed(d)]
    failed = [d for d in drives if d.get('failed')]
    pending = [d for d in drives if d.get('result') == 'pending']
    result['changed'] = bool(changed)
    for drive in pending:
        result['warnings'].append(
            '%s: the request is pending; the revision changes when the controller runs it '
            '(vekctl defer status %s)' % (drive['drive'], drive['drive']))
    if failed or status != 0:
        result['failed'] = True
        reasons = [d.get('message') or '%s: %s' % (d['drive'], d.get('result')) for d in failed]
        result['msg'] = '; '.join(reasons) or 'vekctl ended with status %d' % status
    elif changed:
        result['msg'] = 'flashed %s: %s' % (_plural(len(changed), 'drive'), ', '.join(
            '%s %s -> %s' % (d['drive'], d['oldRevision'], d['newRevision']) for d in changed))
    elif pending:
        result['msg'] = 'requests pending on %s' % ', '.join(d['drive'] for d in pending)
    else:
        result['msg'] = doc.get('reason') or 'nothing to flash'
    return result
