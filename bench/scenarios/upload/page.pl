#!/usr/bin/perl
use strict;
use warnings;

my %entities = ('"' => "&quot;", "<" => "&lt;", ">" => "&gt;", "&" => "&amp;");
sub html { my $text = shift; $text =~ s/(["<>&])/$entities{$1}/g; return $text }

binmode STDIN;
read STDIN, my $body, $ENV{CONTENT_LENGTH};
my ($boundary) = $ENV{CONTENT_TYPE} =~ /boundary=([^ ;]+)/;
my $end_of_header = index $body, "\r\n\r\n";
my ($name) = substr($body, 0, $end_of_header) =~ /filename="([^"]*)"/;
my $start = $end_of_header + 4;
my $size = index($body, "\r\n--$boundary", $start) - $start;
open my $file, ">:raw", "received" or die;
print $file substr $body, $start, $size;
close $file;
print "Content-type: text/html\n\n<p>", html($name), ", $size bytes</p>\n";
