-- compatible with 1
-- An alarm of the fleet itself, which is that of a silent controller, is in no ledger. So what operators do with it is done
-- here at once, and the action says which alarm it was about.
alter table action alter column ledger_no drop not null;
alter table action add column alarm_no bigint references alarm on delete cascade;
alter table action add check ((ledger_no is null) = (alarm_no is not null));
create index action_of_alarm on action (alarm_no) where alarm_no is not null;

-- Operators may not write alarms, so this acts for them. Alarms that are over, or are of a ledger, are left as they are.
-- Answers with the numbers of the actions, one for each alarm.
create function act_on_own_alarms(of_alarms bigint[], what text, words text, who text, until timestamptz)
returns setof bigint
language plpgsql security definer set search_path = polaiga, pg_temp as $$
begin
  if what not in ('acknowledge', 'unacknowledge', 'comment') then
    raise exception 'alarms of the fleet itself take no action %', what;
  end if;
  return query
    with held as (
      select a.alarm_no, a.controller_id from alarm a
      where a.alarm_no = any(of_alarms) and a.ledger_no is null and a.ended = '' order by a.alarm_no for update),
    acted as (
      update alarm a set is_acknowledged = (what = 'acknowledge'),
        acknowledged_by = case what when 'acknowledge' then who else '' end
      from held h where a.alarm_no = h.alarm_no and what <> 'comment')
    insert into action (controller_id, alarm_no, request, person, expires, state, ended)
    select h.controller_id, h.alarm_no,
      jsonb_strip_nulls(jsonb_build_object('do', what, 'alarms', h.alarm_no::text, 'of_fleet', true, 'comment', nullif(words, ''))),
      who, until, 'done', now()
    from held h order by h.alarm_no
    returning action_no;
end $$;
revoke execute on function act_on_own_alarms(bigint[], text, text, text, timestamptz) from public;
