"""The collection as an operator runs it: built with ansible-galaxy,
installed into a folder of its own, and the example playbook run by
ansible-playbook over hosts that each have a simulated fleet of their own
(six drives, one state file each).

    python3 test_fleet.py VEKCTL VEK_SIM_IMAGE [fleet|ssh]

"fleet" runs three local hosts (check mode, then the rolling update);
"ssh" one host reached through an OpenSSH server that the test starts on a
loopback port with a throw-away key and stops again. Exits 77 (skipped) with
the reason when ansible or sshd is not installed."""

import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest

COLLECTION = os.path.abspath(os.path.join(os.path.dirname(__file__), '..', '..'))
PLAYBOOK = 'vek.firmware.fleet_firmware'
VEKCTL = VEK_SIM_IMAGE = None
# Where Debian keeps sshd, which is not on every user's PATH.
SBIN_PATH = os.environ.get('PATH', '') + os.pathsep + '/usr/sbin' + os.pathsep + '/sbin'


def run(args, **kwargs):
    done = subprocess.run(args, capture_output=True, text=True, **kwargs)
    if done.returncode != 0:
        raise AssertionError('%s ended with status %d: %s'
                             % (' '.join(args), done.returncode, done.stderr or done.stdout))
    return done


class Site:
    """A temporary folder with the collection installed, firmware images and
    a folder per host (its simulated fleet, and vekctl's journal and locks)
    that reset() removes; cleanup is the test's addCleanup or
    addClassCleanup, which removes it all."""

    def __init__(self, cleanup):
        self.root = tempfile.mkdtemp(prefix='vek-ansible-')
        cleanup(shutil.rmtree, self.root, True)
        self.hosts = os.path.join(self.root, 'hosts')
        run(['ansible-galaxy', 'collection', 'build', COLLECTION, '--output-path', self.root])
        tarball = os.path.join(self.root, 'vek-firmware-1.0.0.tar.gz')
        run(['ansible-galaxy', 'collection', 'install', tarball,
             '-p', os.path.join(self.root, 'collections')])
        self.firmware = os.path.join(self.root, 'firmware')
        run([VEK_SIM_IMAGE, '--samples', self.firmware])
        self.image = os.path.join(self.firmware, 'KS-4000-0103.fw')
        self.env = dict(os.environ,
                        ANSIBLE_CONFIG=os.path.join(self.root, 'none.cfg'),
                        ANSIBLE_COLLECTIONS_PATH=os.path.join(self.root, 'collections'),
                        ANSIBLE_HOME=os.path.join(self.root, 'home'),
                        ANSIBLE_LOCAL_TEMP=os.path.join(self.root, 'tmp'),
                        ANSIBLE_REMOTE_TEMP=os.path.join(self.root, 'remote-tmp'),
                        ANSIBLE_NOCOLOR='1', ANSIBLE_RETRY_FILES_ENABLED='0',
                        ANSIBLE_PYTHON_INTERPRETER='auto_silent',
                        ANSIBLE_CALLBACKS_ENABLED='ansible.builtin.tree',
                        ANSIBLE_CALLBACK_TREE_DIR=os.path.join(self.root, 'results'))

    def reset(self):
        shutil.rmtree(self.hosts, ignore_errors=True)
        os.mkdir(self.hosts)

    def folder(self, host):
        path = os.path.join(self.hosts, host)
        os.makedirs(path, exist_ok=True)
        return path

    def state(self, host):
        return os.path.join(self.folder(host), 'sim-state.json')

    def environment(self, host):
        """vekctl's environment on the host: its journal and drive locks in
        the host's folder, so that hosts and test runs stay apart."""
        return {'VEK_STATE_DIR': self.folder(host),
                'VEK_LOCK_DIR': os.path.join(self.folder(host), 'locks')}

    def files(self, host):
        """Every file of the host's folder and its bytes."""
        found = {}
        for folder, _, names in os.walk(self.folder(host)):
            for name in names:
                with open(os.path.join(folder, name), 'rb') as f:
                    found[os.path.join(folder, name)] = f.read()
        return found

    def refuse(self, host, serial):
        """The drive refuses every image: ILLEGAL REQUEST on its second
        download segment (doc/sim-state.md)."""
        with open(self.state(host)) as f:
            state = json.load(f)
        drive = next(d for c in state['controllers'] for d in c['drives'] if d['serial'] == serial)
        drive['faults'] = {'rejectChunk': 2}
        with open(self.state(host), 'w') as f:
            json.dump(state, f)

    def vekctl(self, host, *args):
        return run([VEKCTL, '--json', '--sim-state', self.state(host)] + list(args),
                   env=dict(os.environ, **self.environment(host))).stdout

    def revision(self, host, drive):
        devices = json.loads(self.vekctl(host, 'list'))['devices']
        return next(d['revision'] for d in devices if d['id'] == drive)

    def inventory(self, hosts):
        """hosts: {name: host variables}; each host gets its own folder."""
        for name, variables in hosts.items():
            variables.update(vek_sim_state=self.state(name), vek_environment=self.environment(name))
        group = {'hosts': hosts, 'vars': {'vekctl': VEKCTL, 'vek_driver': 'sim', 'vek_image': self.image}}
        path = os.path.join(self.root, 'inventory.json')  # JSON is YAML to Ansible
        with open(path, 'w') as f:
            json.dump({'storage': group}, f)
        return path

    def playbook(self, inventory, *options):
        """Runs the example playbook; returns its exit status, output, wall
        time and each host's last task result."""
        results = os.path.join(self.root, 'results')
        shutil.rmtree(results, ignore_errors=True)
        start = time.monotonic()
        done = subprocess.run(['ansible-playbook', '-i', inventory, PLAYBOOK,
                               '-e', 'vek_product=KS-4000', '-e', 'vek_revision=0103'] + list(options),
                              cwd=self.root, env=self.env, capture_output=True, text=True)
        seconds = time.monotonic() - start
        last = {}  # each host's result, less "failed": the recap tells that
        for host in os.listdir(results) if os.path.isdir(results) else []:
            with open(os.path.join(results, host)) as f:
                last[host] = json.load(f)
        return done.returncode, done.stdout + done.stderr, seconds, last


class FleetTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.site = Site(cls.addClassCleanup)

    def setUp(self):
        self.site.reset()
        for host in ('host1', 'host2', 'host3'):
            self.site.vekctl(host, 'list')  # the built-in fleet: six drives
        self.site.vekctl('host2', 'flash', self.site.image, 'hba0:0', '--yes')
        # The drive reports "microcode changed" (a unit attention) to the
        # first command after the flash, and REQUEST SENSE takes it away as
        # on real hardware: any reading consumes it, check mode or not.
        self.site.vekctl('host2', 'list')
        self.site.refuse('host3', 'KSL0A1B2C3')  # hba0:0
        self.inventory = self.site.inventory({host: {'ansible_connection': 'local'}
                                              for host in ('host1', 'host2', 'host3')})

    def states(self):
        return {host: self.site.files(host) for host in ('host1', 'host2', 'host3')}

    def test_check_mode_changes_nothing(self):
        before = self.states()
        status, output, _, last = self.site.playbook(self.inventory, '--check')
        self.assertEqual(status, 0, output)
        self.assertEqual(self.states(), before)
        self.assertEqual({host: last[host]['changed'] for host in last},
                         {'host1': True, 'host2': False, 'host3': True}, output)
        self.assertEqual(last['host1']['msg'], 'would flash 1 drive: hba0:0 (0102)')

    def test_rolling_update_reports_each_host(self):
        status, output, seconds, last = self.site.playbook(self.inventory)
        print('three hosts, serial 1: %.1f s' % seconds)
        self.assertEqual(status, 2, output)  # 2: a host failed
        # The facts task saw the drive, and each host's recap is as expected.
        self.assertIn('"msg": "hba0:0: KS-4000 at 0102"', output)
        for host, counts in [('host1', 'changed=1 .* failed=0'), ('host2', 'changed=0 .* failed=0'),
                             ('host3', 'changed=0 .* failed=1')]:
            self.assertRegex(output, host + r'\s+: ok=\d+\s+' + counts)

        self.assertEqual(last['host1']['msg'], 'flashed 1 drive: hba0:0 0102 -> 0103')
        self.assertEqual(last['host1']['drives'][0]['result'], 'success')
        self.assertFalse(last['host2']['changed'])
        self.assertEqual(last['host3']['exit_status'], 3)
        self.assertEqual(last['host3']['drives'][0]['result'], 'failed')
        self.assertRegex(last['host3']['msg'],
                         '^hba0:0: flash refused by drive: ILLEGAL REQUEST, invalid field in parameter list')
        self.assertEqual([self.site.revision(h, 'hba0:0') for h in ('host1', 'host2', 'host3')],
                         ['0103', '0103', '0102'])

    def test_documentation(self):
        doc = run(['ansible-doc', '-t', 'module', 'vek.firmware.drive_facts',
                   'vek.firmware.drive_firmware'], env=self.site.env).stdout
        # Both pages, each with the shared options of the doc fragment.
        self.assertEqual(doc.count('> VEK.FIRMWARE.DRIVE_F'), 2, doc)
        self.assertEqual(doc.count('- sim_state'), 2, doc)
        # The README shows the playbook as it is.
        with open(os.path.join(COLLECTION, 'playbooks', 'fleet_firmware.yml')) as f:
            play = '- name:' + f.read().split('\n- name:', 1)[1]
        with open(os.path.join(COLLECTION, 'README.md')) as f:
            self.assertIn(play, f.read())


class SshTest(unittest.TestCase):
    """One host reached over SSH: the modules are shipped to it and run there."""

    def setUp(self):
        self.site = Site(self.addCleanup)
        self.site.reset()
        ssh = os.path.join(self.site.root, 'ssh')
        os.mkdir(ssh, 0o700)
        key, host_key = os.path.join(ssh, 'client'), os.path.join(ssh, 'host')
        for path in (key, host_key):
            run(['ssh-keygen', '-q', '-t', 'ed25519', '-N', '', '-f', path])
        shutil.copy(key + '.pub', os.path.join(ssh, 'authorized_keys'))
        with socket.socket() as probe:  # a free loopback port
            probe.bind(('127.0.0.1', 0))
            self.port = probe.getsockname()[1]
        config = os.path.join(ssh, 'sshd_config')
        with open(config, 'w') as f:
            f.write('\n'.join([
                'ListenAddress 127.0.0.1:%d' % self.port, 'HostKey ' + host_key,
                'PidFile ' + os.path.join(ssh, 'sshd.pid'),
                'AuthorizedKeysFile ' + os.path.join(ssh, 'authorized_keys'),
                'AuthenticationMethods publickey', 'PasswordAuthentication no',
                'KbdInteractiveAuthentication no', 'UsePAM no', 'StrictModes no',
                'PermitRootLogin prohibit-password', 'AllowUsers ' + self.user(),
                'Subsystem sftp internal-sftp', '']))
        self.log = os.path.join(ssh, 'sshd.log')
        self.start_sshd(config)
        self.inventory = self.site.inventory({'remote': {
            'ansible_host': '127.0.0.1', 'ansible_port': self.port, 'ansible_user': self.user(),
            'ansible_ssh_private_key_file': key}})
        # Every connection its own, so that nothing outlives the test.
        self.site.env.update(ANSIBLE_SSH_ARGS='-F /dev/null -o ControlMaster=no',
                             ANSIBLE_HOST_KEY_CHECKING='False')

    @staticmethod
    def user():
        import pwd
        return pwd.getpwuid(os.getuid()).pw_name

    def start_sshd(self, config):
        sshd = shutil.which('sshd', path=SBIN_PATH)
        # As root, sshd wants its privilege separation folder, which its
        # service would make; the test removes it again if it made it.
        privsep = '/run/sshd'
        if os.geteuid() == 0 and not os.path.isdir(privsep):
            os.mkdir(privsep, 0o755)
            self.addCleanup(os.rmdir, privsep)
        self.sshd = subprocess.Popen([sshd, '-D', '-f', config, '-E', self.log])
        self.addCleanup(self.stop_sshd)
        deadline = time.monotonic() + 10
        while True:
            with socket.socket() as probe:
                if probe.connect_ex(('127.0.0.1', self.port)) == 0:
                    return
            if self.sshd.poll() is not None or time.monotonic() > deadline:
                self.fail('sshd did not start: ' + open(self.log).read())
            time.sleep(0.05)

    def stop_sshd(self):
        self.sshd.terminate()
        self.sshd.wait(timeout=10)

    def test_flash_over_ssh(self):
        status, output, seconds, last = self.site.playbook(self.inventory)
        print('one host over SSH: %.1f s' % seconds)
        self.assertEqual(status, 0, output)
        self.assertEqual(last['remote']['msg'], 'flashed 1 drive: hba0:0 0102 -> 0103', output)
        self.assertEqual(self.site.revision('remote', 'hba0:0'), '0103')
        with open(self.log) as f:
            self.assertRegex(f.read(), 'Accepted publickey for %s from 127.0.0.1' % self.user())


def main():
    global VEKCTL, VEK_SIM_IMAGE
    if len(sys.argv) != 4 or sys.argv[3] not in ('fleet', 'ssh'):
        sys.exit(__doc__)
    VEKCTL, VEK_SIM_IMAGE = (os.path.abspath(path) for path in sys.argv[1:3])
    which = sys.argv[3]
    missing = [tool for tool in ('ansible-playbook', 'ansible-galaxy', 'ansible-doc')
               if not shutil.which(tool)]
    if which == 'ssh':
        missing += [tool for tool in ('sshd', 'ssh', 'ssh-keygen') if not shutil.which(tool, path=SBIN_PATH)]
    if missing:
        print('skipped: %s not installed (Debian: ansible-core, openssh-server)' % ', '.join(missing))
        sys.exit(77)
    suite = unittest.defaultTestLoader.loadTestsFromTestCase(FleetTest if which == 'fleet' else SshTest)
    sys.exit(0 if unittest.TextTestRunner(verbosity=2).run(suite).wasSuccessful() else 1)


if __name__ == '__main__':
    main()
