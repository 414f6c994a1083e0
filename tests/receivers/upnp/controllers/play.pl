#!/usr/bin/perl
# Finds a renderer and plays a film with Debian's libnet-upnp-perl. Prints a line for each step; exits
# 1 after the first that fails.
#
# usage: play.pl NAME FILM-URL
use strict;
use warnings;

use Net::UPnP::ControlPoint;
use Net::UPnP::AV::MediaRenderer;

my ($name, $film) = @ARGV;
$| = 1;

sub step {
    my ($what, $succeeded, $result) = @_;
    print(($succeeded ? "ok: " : "failed: ") . $what . (defined $result ? ": $result" : "") . "\n");
    exit 1 unless $succeeded;
}

my $point = Net::UPnP::ControlPoint->new();
my ($device) = grep { $_->getfriendlyname() eq $name }
    $point->search(st => 'urn:schemas-upnp-org:device:MediaRenderer:1', mx => 1);
step("the search finds the renderer", defined $device, $name);

my $renderer = Net::UPnP::AV::MediaRenderer->new();
$renderer->setdevice($device);
my $service = $device->getservicebyname('urn:schemas-upnp-org:service:AVTransport:1');

sub transport {
    my %arguments = ('InstanceID' => 0);
    return $service->postaction("GetTransportInfo", \%arguments)->getargumentlist()
        ->{CurrentTransportState};
}

# This package has no events.
sub state_becomes {
    my ($state) = @_;
    for (1 .. 300) {
        return 1 if transport() eq $state;
        select(undef, undef, undef, 0.1);
    }
    return 0;
}

step("SetAVTransportURI", $renderer->setAVTransportURI(CurrentURI => $film)->getstatuscode() == 200);
step("STOPPED", transport() eq 'STOPPED');
step("Play", $renderer->play()->getstatuscode() == 200);
step("PLAYING", state_becomes('PLAYING'));
step("SetNextAVTransportURI", $renderer->setNextAVTransportURI(NextURI => $film)->getstatuscode() == 200);
step("Stop", $renderer->stop()->getstatuscode() == 200);
step("STOPPED", state_becomes('STOPPED'));
step("a wrong address is refused",
    $renderer->setAVTransportURI(CurrentURI => 'file:///etc/passwd')->getstatuscode() == 500);
